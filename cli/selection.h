// What a listing or export selects: channel lists and record-type masks as
// the user writes them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace cli {

// "3", "0,2,5-7". Channels 0 .. kMaxChannels-1. Throws UsageError.
std::vector<int> parse_channel_list(const std::string &text);
std::vector<int> all_channels();
// The library's channel bitmap of a list: channel c is bit c % 8 of byte
// c / 8, for kMaxChannels channels.
std::vector<uint8_t> channel_bits(const std::vector<int> &channels);
// "0-3,7" of a sorted list; "none" when empty.
std::string channel_ranges(const std::vector<int> &channels);

// Each word is a mask ("6", "0x6") or names joined by commas ("motion,alarm");
// the result is their union. Throws UsageError.
uint64_t parse_type_mask(const std::vector<std::string> &words);

// The names of a mask's bits: "motion", "bit9" for bits without a name.
std::vector<std::string> type_names(uint64_t mask);
std::string type_text(uint64_t mask); // names joined by '+', "-" for none

} // namespace cli
