// Little-endian loads and stores on byte buffers. Every on-disk record is
// decoded and encoded through these; nothing casts a buffer to a struct.
#pragma once

#include <cstdint>

namespace rfs {

inline uint16_t load_le16(const uint8_t *p) { return uint16_t(p[0] | (p[1] << 8)); }

inline uint32_t load_le32(const uint8_t *p) {
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

inline uint64_t load_le64(const uint8_t *p) {
    return uint64_t(load_le32(p)) | (uint64_t(load_le32(p + 4)) << 32);
}

inline void store_le16(uint8_t *p, uint16_t v) {
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
}

inline void store_le32(uint8_t *p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = uint8_t(v >> (8 * i));
}

inline void store_le64(uint8_t *p, uint64_t v) {
    store_le32(p, uint32_t(v));
    store_le32(p + 4, uint32_t(v >> 32));
}

// A four-character tag as the recorder compares it: one little-endian u32.
constexpr uint32_t fourcc(const char (&s)[5]) {
    return uint32_t(uint8_t(s[0])) | (uint32_t(uint8_t(s[1])) << 8) |
           (uint32_t(uint8_t(s[2])) << 16) | (uint32_t(uint8_t(s[3])) << 24);
}

} // namespace rfs
