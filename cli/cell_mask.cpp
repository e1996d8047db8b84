#include "cell_mask.h"

#include <sstream>
#include <utility>

#include "errors.h"

namespace cli {

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

int hex_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

CellMask parse_hex(const std::string &text) {
    const std::string digits = text.substr(2);
    if (digits.size() != 2 * sizeof(CellMask))
        throw UsageError("bad cell mask '" + text + "': 0x wants exactly 144 hex digits (the 72 bytes)");
    CellMask mask{};
    for (size_t i = 0; i < mask.size(); ++i) {
        int high = hex_value(digits[2 * i]), low = hex_value(digits[2 * i + 1]);
        if (high < 0 || low < 0) throw UsageError("bad cell mask '" + text + "': not a hex digit");
        mask[i] = uint8_t(high << 4 | low);
    }
    return mask;
}

// "5", "0-11" or "*" within 0 .. count-1, as [first, last].
std::pair<int, int> parse_span(const std::string &text, int count, const std::string &whole) {
    if (text == "*") return {0, count - 1};
    auto number = [&](const std::string &digits) {
        if (digits.empty() || digits.size() > 2 || digits.find_first_not_of("0123456789") != std::string::npos ||
            std::stoi(digits) >= count)
            throw UsageError("bad cell mask '" + whole + "': '" + text + "' is not 0 to " + std::to_string(count - 1) +
                             ", a range of them or *");
        return std::stoi(digits);
    };
    size_t dash = text.find('-');
    int first = number(text.substr(0, dash));
    int last = dash == std::string::npos ? first : number(text.substr(dash + 1));
    if (last < first) throw UsageError("bad cell mask '" + whole + "': the range '" + text + "' runs backwards");
    return {first, last};
}

void add_rectangle(CellMask &mask, const std::string &rect, const std::string &whole) {
    size_t colon = rect.find(':');
    if (colon == std::string::npos)
        throw UsageError("bad cell mask '" + whole + "': '" + rect + "' is not ROWS:COLS");
    auto [r0, r1] = parse_span(rect.substr(0, colon), kGridRows, whole);
    auto [c0, c1] = parse_span(rect.substr(colon + 1), kGridCols, whole);
    for (int r = r0; r <= r1; ++r)
        for (int c = c0; c <= c1; ++c) set_cell(mask, r, c);
}

} // namespace

CellMask all_cells() {
    CellMask mask{};
    mask.fill(0xFF);
    return mask;
}

CellMask parse_cell_mask(const std::string &text) {
    CellMask mask{};
    if (text == "all") {
        mask = all_cells();
    } else if (text.rfind("0x", 0) == 0 || text.rfind("0X", 0) == 0) {
        mask = parse_hex(text);
    } else {
        std::stringstream in(text);
        for (std::string rect; std::getline(in, rect, ',');) add_rectangle(mask, rect, text);
    }
    if (cell_count(mask) == 0) throw UsageError("the cell mask '" + text + "' selects no cell");
    return mask;
}

bool has_cell(const CellMask &mask, int row, int col) {
    int c = row * kGridCols + col;
    return mask[size_t(c / 8)] >> (c % 8) & 1;
}

void set_cell(CellMask &mask, int row, int col) {
    int c = row * kGridCols + col;
    mask[size_t(c / 8)] |= uint8_t(1u << (c % 8));
}

int cell_count(const CellMask &mask) {
    int n = 0;
    for (uint8_t b : mask) n += __builtin_popcount(b);
    return n;
}

std::string mask_hex(const CellMask &mask) {
    std::string text = "0x";
    for (uint8_t b : mask) {
        text += kHexDigits[b >> 4];
        text += kHexDigits[b & 15];
    }
    return text;
}

} // namespace cli
