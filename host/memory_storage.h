// Disks held in memory, for the fuzz targets and for tests that need many
// fresh copies of one disk.
//
// Files are named by path ("/mem/disk", "/mem/nas/index0"): a raw disk is one
// file, a NAS disk the files under its directory path. A file is a size and
// the 4 KiB pages that are not all zero. A copy of the file table shares its
// pages with the live files and a page is copied only when it is written, so
// saving and restoring a whole disk costs no more than its page table.
//
// To the library a file is a device of fixed size: a read or write that runs
// past the end moves only the bytes before it (a short count), and nothing is
// ever created, grown or truncated. Open flags are the library's (RFS_O_*); a
// descriptor refuses what its access mode forbids (EBADF), a missing file
// fails with ENOENT.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "storage_ops.h"

namespace rfs_host {

constexpr uint64_t kMemoryPageSize = 4096;
using MemoryPage = std::array<uint8_t, kMemoryPageSize>;

struct MemoryFile {
    uint64_t size = 0;
    std::map<uint64_t, std::shared_ptr<MemoryPage>> pages; // page number -> bytes
};
using MemoryFiles = std::map<std::string, MemoryFile>; // path -> file

// The live files. Copy them to save a state, assign a saved copy to go back.
MemoryFiles &memory_files();

// The host's own access: a write past the end grows the file (creating it),
// a read past the end gives zeros.
void memory_write(const std::string &path, uint64_t offset, const void *data, size_t len);
std::vector<uint8_t> memory_read(const std::string &path, uint64_t offset, size_t len);

// Loads a real file as `path`, or each regular file of a real directory as
// path + "/" + name. Holes and zero pages take no memory. False when the real
// path cannot be read.
bool memory_import(const std::string &path, const std::string &real_path);

// The pages whose bytes differ between two states: (path, page number).
std::vector<std::pair<std::string, uint64_t>> memory_changed_pages(const MemoryFiles &before,
                                                                   const MemoryFiles &after);

StorageOps memory_ops();
// memory_ops() installed with rfs_set_operate_cb.
int install_memory();

} // namespace rfs_host
