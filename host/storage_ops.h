// A set of the five storage operations the library calls (see rfs.h), as one
// value that layers can hand to each other and install.
//
// The library's callbacks are plain C function pointers with no user pointer,
// so every layer in this folder keeps its state process-wide. That matches the
// library's contract: the host serialises all calls, so nothing here locks.
#pragma once

#include <cerrno>
#include <new>

#include "rfs.h"

namespace rfs_host {

struct StorageOps {
    rfs_open_t open = nullptr;
    rfs_close_t close = nullptr;
    rfs_read_t read = nullptr;
    rfs_write_t write = nullptr;
    rfs_sync_t sync = nullptr;
};

// Runs one operation's body so that no exception reaches the library, which
// is built without them: an allocation failure becomes -1 with errno ENOMEM,
// anything else thrown -1 with errno EIO (the access failed).
template <typename Body>
int without_exceptions(Body body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc &) {
        errno = ENOMEM;
    } catch (...) {
        errno = EIO;
    }
    return -1;
}

// Installs the five operations with rfs_set_operate_cb; returns its result.
int install(const StorageOps &ops);

} // namespace rfs_host
