// Little-endian stores into byte buffers: every on-disk record of the
// recorder is built with these, field by field at its offset.
#pragma once

#include <cstdint>
#include <cstring>

namespace rec {

inline void put_u8(uint8_t* p, uint8_t v) { p[0] = v; }

inline void put_u16(uint8_t* p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}

inline void put_u32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

inline void put_u64(uint8_t* p, uint64_t v) {
  for (int i = 0; i < 8; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

inline uint32_t get_u32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
         static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

// A four-character tag stored as its ASCII bytes in order ("Qkfs", "Even", ...).
inline void put_tag(uint8_t* p, const char (&tag)[5]) { std::memcpy(p, tag, 4); }

}  // namespace rec
