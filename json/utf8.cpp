#include "utf8.h"

namespace rfs_json {

size_t utf8_sequence_length(std::string_view text) {
    if (text.empty()) return 0;
    auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned char lead = byte(0);
    size_t n = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 0;
    if (n == 0 || lead > 0xF4 || text.size() < n) return 0;
    uint32_t cp = lead & (0x7F >> n);
    for (size_t i = 1; i < n; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
        cp = cp << 6 | (byte(i) & 0x3F);
    }
    static const uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    bool surrogate = cp >= 0xD800 && cp <= 0xDFFF;
    return cp < kSmallest[n] || surrogate || cp > 0x10FFFF ? 0 : n;
}

void append_utf8(uint32_t cp, std::string &out) {
    if (cp < 0x80) {
        out += char(cp);
    } else if (cp < 0x800) {
        out += char(0xC0 | cp >> 6);
        out += char(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += char(0xE0 | cp >> 12);
        out += char(0x80 | (cp >> 6 & 0x3F));
        out += char(0x80 | (cp & 0x3F));
    } else {
        out += char(0xF0 | cp >> 18);
        out += char(0x80 | (cp >> 12 & 0x3F));
        out += char(0x80 | (cp >> 6 & 0x3F));
        out += char(0x80 | (cp & 0x3F));
    }
}

} // namespace rfs_json
