// UTF-8 validation and encoding shared by the JSON writer and reader.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace rfs_json {

// Length (2 to 4) of the valid multi-byte UTF-8 sequence at the start of
// `text`, or 0 when it does not start with one (a stray continuation byte, a
// truncated or overlong sequence, a surrogate, a code point above U+10FFFF).
size_t utf8_sequence_length(std::string_view text);

// Appends the UTF-8 form of a code point (at most U+10FFFF).
void append_utf8(uint32_t code_point, std::string &out);

} // namespace rfs_json
