// The record id: the 32-bit word that names one data file in the host-visible
// records (RfsEvent, RfsPic, a read session): disk slot in bits 24..31,
// partition in bits 16..23, file number (the file's slot in its partition's
// file table) in bits 0..15.
#pragma once

#include <cstdint>

namespace rfs {

struct RecordId {
    int disk;
    int partition;
    int file;
};

constexpr uint32_t pack_record_id(int disk, int partition, int file) {
    return uint32_t(disk & 0xFF) << 24 | uint32_t(partition & 0xFF) << 16 | uint32_t(file & 0xFFFF);
}

constexpr RecordId unpack_record_id(uint32_t id) {
    return {int(id >> 24), int((id >> 16) & 0xFF), int(id & 0xFFFF)};
}

} // namespace rfs
