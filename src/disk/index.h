// The four copies of a partition's index area. The two lowest usable copies
// (bits of index_flags[p]) are the mirrored primary and secondary; the next
// one is the spare. Reads go to the primary, writes to the primary and then
// the secondary. A failed copy is struck out, the flags are written to the
// disk, and the surviving copy is copied whole over the spare before the
// access is retried. A struck-out copy never comes back.
#pragma once

#include <cstdint>

#include "disk/layout.h"

namespace rfs {

struct disk_info_t;

// Copy number 0..3 of the primary (or secondary) copy of partition p, or -1
// when the partition number is bad or fewer than two copies are usable.
int select_index_copy(const DiskParamBlock *b, int p, bool primary);

// Where byte `off` of partition p's index area lies in copy k: raw mode an
// absolute device offset, NAS mode an offset inside index file k.
uint64_t index_copy_addr(const DiskParamBlock &b, int p, int k, uint64_t off);

// Reads len bytes at `off` of partition p's index area through the primary.
// fd is a descriptor of the primary copy (raw: the device); it is never
// closed here. Recovers failed copies on the way. 0 or -1.
int index_read(int fd, DiskParamBlock *b, int p, uint64_t off, void *buf, uint32_t len,
               const char *path);
// The same for a mounted disk, with its block copy and path.
int index_read_disk(int fd, disk_info_t *d, int p, uint64_t off, void *buf, uint32_t len);

// Writes to the primary and then the secondary copy through one descriptor of
// the device (raw mode only). 0 or -1.
int index_write(int fd, DiskParamBlock *b, int p, uint64_t off, const void *buf, uint32_t len,
                const char *path);
// Writes through the caller's primary descriptor and opens the secondary copy
// itself; correct in both modes. The caller's fd stays open. 0 or -1.
int index_write_nas(int fd, DiskParamBlock *b, int p, uint64_t off, const void *buf,
                    uint32_t len, const char *path);
// The same two copies in the other order, secondary first (either mode). A
// write that marks a step of a repair done goes this way: the next mount reads
// the primary, so a power cut between the two writes leaves the step undone
// there and the mount does it again, both copies included.
int index_write_commit(int fd, DiskParamBlock *b, int p, uint64_t off, const void *buf,
                       uint32_t len, const char *path);

// Strikes out the failed copy (the primary, or the secondary when
// secondary_failed is non-zero), writes the new flags to every index copy and
// copies the surviving copy over the spare. Raw form: every copy goes through
// *fd, which is synced at the end. 0 or -1.
int deal_with_index_error(DiskParamBlock *b, int p, int secondary_failed, int *fd,
                          const char *path);
// NAS form: opens the two index files itself.
int deal_with_index_error_nas(DiskParamBlock *b, int p, int secondary_failed, const char *path);

// The form the storage mode asks for (fd is used in raw mode only).
int recover_index_copy(DiskParamBlock *b, int p, int secondary_failed, int *fd,
                       const char *path);

} // namespace rfs
