#include "selection.h"

#include <cerrno>
#include <cstdlib>
#include <sstream>

#include "disks.h"
#include "errors.h"

namespace cli {

namespace {

// Record types as the recorder names them, by bit.
const char *const kTypeNames[] = {"timed", "motion", "alarm", "manual"};
constexpr int kNamedTypes = 4;

std::vector<std::string> split(const std::string &text, char sep) {
    std::vector<std::string> parts;
    std::stringstream in(text);
    for (std::string part; std::getline(in, part, sep);) parts.push_back(part);
    return parts;
}

bool parse_number(const std::string &text, unsigned long long &value) {
    if (text.empty() || text[0] == '-' || text[0] == '+') return false;
    char *end = nullptr;
    errno = 0;
    value = strtoull(text.c_str(), &end, 0);
    return errno == 0 && *end == '\0';
}

int parse_channel(const std::string &text) {
    unsigned long long value = 0;
    if (!parse_number(text, value) || value >= unsigned(kMaxChannels))
        throw UsageError("bad channel '" + text + "' (0 to " + std::to_string(kMaxChannels - 1) + ")");
    return int(value);
}

uint64_t type_bit(const std::string &name) {
    for (int bit = 0; bit < kNamedTypes; ++bit)
        if (name == kTypeNames[bit]) return 1ull << bit;
    throw UsageError("unknown record type '" + name + "' (timed, motion, alarm, manual or a mask)");
}

} // namespace

std::vector<int> parse_channel_list(const std::string &text) {
    std::vector<int> channels;
    for (const std::string &part : split(text, ',')) {
        size_t dash = part.find('-');
        int first = parse_channel(part.substr(0, dash));
        int last = dash == std::string::npos ? first : parse_channel(part.substr(dash + 1));
        if (last < first) throw UsageError("bad channel range '" + part + "'");
        for (int c = first; c <= last; ++c) channels.push_back(c);
    }
    if (channels.empty()) throw UsageError("empty channel list");
    return channels;
}

std::vector<int> all_channels() {
    std::vector<int> channels(kMaxChannels);
    for (int c = 0; c < kMaxChannels; ++c) channels[size_t(c)] = c;
    return channels;
}

std::vector<uint8_t> channel_bits(const std::vector<int> &channels) {
    std::vector<uint8_t> bits(kMaxChannels / 8);
    for (int c : channels) bits[size_t(c / 8)] |= uint8_t(1u << (c % 8));
    return bits;
}

std::string channel_ranges(const std::vector<int> &channels) {
    std::string text;
    for (size_t i = 0; i < channels.size();) {
        size_t j = i;
        while (j + 1 < channels.size() && channels[j + 1] == channels[j] + 1) ++j;
        text += (text.empty() ? "" : ",") + std::to_string(channels[i]);
        if (j > i) text += "-" + std::to_string(channels[j]);
        i = j + 1;
    }
    return text.empty() ? "none" : text;
}

uint64_t parse_type_mask(const std::vector<std::string> &words) {
    uint64_t mask = 0;
    for (const std::string &word : words) {
        unsigned long long value = 0;
        if (parse_number(word, value)) {
            mask |= value;
            continue;
        }
        for (const std::string &name : split(word, ',')) mask |= type_bit(name);
    }
    if (mask == 0) throw UsageError("the record-type mask selects nothing");
    return mask;
}

std::vector<std::string> type_names(uint64_t mask) {
    std::vector<std::string> names;
    for (int bit = 0; bit < 64; ++bit)
        if (mask >> bit & 1) names.push_back(bit < kNamedTypes ? kTypeNames[bit] : "bit" + std::to_string(bit));
    return names;
}

std::string type_text(uint64_t mask) {
    std::string text;
    for (const std::string &name : type_names(mask)) text += (text.empty() ? "" : "+") + name;
    return text.empty() ? "-" : text;
}

} // namespace cli
