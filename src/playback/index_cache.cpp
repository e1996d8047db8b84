// The per-session cache of one 4 KB block of the key-frame index.
#include <cerrno>

#include "disk/layout.h"
#include "frame/alloc.h"
#include "frame/log.h"
#include "frame/storage.h"
#include "playback/read_internal.h"

namespace rfs {

bool cache_holds(const ReadSession &s, int32_t n) {
    return s.index_cache && s.cache_count > 0 && n >= s.cache_first &&
           int64_t(n) < int64_t(s.cache_first) + s.cache_count;
}

const uint8_t *cached_entry(const ReadSession &s, int32_t n) {
    return s.index_cache + size_t(n - s.cache_first) * iframe_entry::kSize;
}

int read_index_block(ReadSession &s, int32_t n) {
    if (!s.index_cache || n < 0) return -1;
    errno = 0; // a short count alone is not judged by an older error
    int got = storage_read(s.iframe_fd, s.index_cache, kIndexBlockSize, index_block_pos(s, n));
    bool whole = got == int(kIndexBlockSize);
    s.cache_first = whole ? block_start(n) : 0;
    s.cache_count = whole ? kEntriesPerBlock : 0;
    return got;
}

int ensure_index_cache(ReadSession &s) {
    if (s.index_cache) return 0;
    s.index_cache = static_cast<uint8_t *>(rfs_malloc(kIndexBlockSize));
    if (s.index_cache) return 0;
    rfs_log("err\n");
    return RFS_ERR_NO_MEMORY;
}

} // namespace rfs
