// The C interface of the POSIX storage with its short disk names, the small
// companion library a playback application links beside librfs.
#include "rfs_posix.h"

#include <cstring>

#include "disk_alias.h"
#include "posix_storage.h"

extern "C" RFS_API int rfs_posix_install(void) noexcept { return rfs_host::install_posix(); }

extern "C" RFS_API int rfs_posix_disk_name(const char *path, char *name, size_t size) noexcept {
    if (!path || !name) return RFS_ERR_NULL;
    return rfs_host::without_exceptions([&] {
        std::string alias = rfs_host::alias_disk(path);
        if (alias.size() >= size) return RFS_ERR_BUFFER;
        std::memcpy(name, alias.c_str(), alias.size() + 1);
        return 0;
    });
}

extern "C" RFS_API void rfs_posix_forget_names(void) noexcept { rfs_host::clear_aliases(); }
