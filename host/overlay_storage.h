// Copy-on-write storage: the library may repair indexes and records, but the
// disk image never changes. Real files are opened read-only; writes land in
// memory in 4 KiB pages kept per file (by device and inode, so they outlive a
// close and are shared by every descriptor on the same file), and later reads
// see them. Only the pages written are held, so multi-GB sparse images cost
// nothing until the library writes, and then only what it wrote.
//
// A real file that changed since its pages were made (another size or
// modification time: the recorder wrote it again, or a new file got a recycled
// inode) drops them at its next open.
//
// Writing beyond the end of a real file extends it in memory (the gap reads as
// zeros). sync is a no-op in memory. A descriptor opened read-only refuses
// writes (EBADF) and one opened write-only refuses reads, as a real file would.
//
// With write-through on (the command-line tool's --write), files are opened
// with the asked flags and writes and syncs reach the real file; pages already
// held in memory are updated too, so reads stay consistent.
//
// Paths that are disk aliases (disk_alias.h) are mapped back in open.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "storage_ops.h"

namespace rfs_host {

StorageOps overlay_ops();
int install_overlay();

void overlay_set_write_through(bool on);
bool overlay_write_through();

// How much the library changed: pages held in memory, and bytes written
// (into memory, or to the real files with write-through).
size_t overlay_page_count();
uint64_t overlay_bytes_written();

// Reads of [offset, offset + length) of the file at `path` come from the file
// at `source`, from source_offset on (paths may be disk aliases); bytes the
// library wrote there in memory still win. For a view of another index copy
// (index_copy_view.h). False when `path` cannot be looked at.
bool overlay_redirect(const std::string &path, int64_t offset, int64_t length, const std::string &source,
                      int64_t source_offset);

// Drops every page held in memory and every redirect (a fresh look at the real files). Files
// still open keep working and read the real contents again.
void overlay_reset();

} // namespace rfs_host
