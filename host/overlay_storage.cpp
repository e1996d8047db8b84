#include "overlay_storage.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <string>
#include <utility>
#include <vector>

#include "disk_alias.h"
#include "posix_storage.h"

namespace rfs_host {

namespace {

constexpr int64_t kPageSize = 4096;
using Page = std::array<unsigned char, kPageSize>;

// What the library wrote to one real file. mem_end is the end of the furthest
// byte written in memory: reads may run that far past the real end of file.
struct FileOverlay {
    std::map<int64_t, std::unique_ptr<Page>> pages; // page number -> contents
    int64_t mem_end = 0;
    // The real file as it was when the pages were made; a file changed or
    // replaced since (a recycled inode) must not inherit them.
    int64_t real_size = 0;
    int64_t real_mtime_ns = 0;
};

using FileId = std::pair<dev_t, ino_t>;

struct OpenFile {
    FileOverlay *file; // never erased from OverlayState::files, so stays valid
    int access;        // RFS_O_RDONLY, RFS_O_WRONLY or RFS_O_RDWR
    FileId id;
};

// Bytes of a file that are read from another place (overlay_redirect).
struct Redirect {
    int64_t offset;
    int64_t length;
    std::string source; // real path
    int64_t source_offset;
};

struct OverlayState {
    bool write_through = false;
    std::map<FileId, FileOverlay> files;
    std::map<FileId, std::vector<Redirect>> redirects;
    std::map<int, OpenFile> open;
    uint64_t bytes_written = 0;
};

OverlayState &state() {
    static OverlayState s;
    return s;
}

int fail(int err) {
    errno = err;
    return -1;
}

// The open descriptor, or null (errno EBADF) when it is not ours or its access
// mode forbids the operation.
OpenFile *usable(int fd, int forbidden_access) {
    auto it = state().open.find(fd);
    if (it == state().open.end() || it->second.access == forbidden_access) {
        errno = EBADF;
        return nullptr;
    }
    return &it->second;
}

// Copies the held pages that overlap [offset, offset + len) into buf.
void copy_pages_out(const FileOverlay &f, unsigned char *buf, uint32_t len, int64_t offset) {
    int64_t end = offset + int64_t(len);
    for (auto it = f.pages.lower_bound(offset / kPageSize);
         it != f.pages.end() && it->first * kPageSize < end; ++it) {
        int64_t page_start = it->first * kPageSize;
        int64_t from = std::max(offset, page_start);
        int64_t to = std::min(end, page_start + kPageSize);
        std::memcpy(buf + (from - offset), it->second->data() + (from - page_start), size_t(to - from));
    }
}

// A page about to be written: its current bytes from the real file (zeros
// past the end), or nothing to read when the write covers all of it.
std::unique_ptr<Page> load_page(int fd, int64_t page_nr, bool whole_page_written) {
    auto page = std::make_unique<Page>();
    if (whole_page_written) return page;
    int got = posix_read(fd, page->data(), kPageSize, page_nr * kPageSize);
    if (got < 0) return nullptr;
    std::memset(page->data() + got, 0, size_t(kPageSize - got));
    return page;
}

// Copies [offset, offset + len) of buf into the held pages that overlap it;
// with `create`, pages not held yet are made first from the real file.
// Returns false (errno set) when a page could not be made.
bool copy_pages_in(int fd, FileOverlay &f, const unsigned char *buf, uint32_t len, int64_t offset,
                   bool create) {
    int64_t end = offset + int64_t(len);
    for (int64_t nr = offset / kPageSize; nr * kPageSize < end; ++nr) {
        int64_t page_start = nr * kPageSize;
        int64_t from = std::max(offset, page_start);
        int64_t to = std::min(end, page_start + kPageSize);
        auto it = f.pages.find(nr);
        if (it == f.pages.end()) {
            if (!create) continue;
            auto page = load_page(fd, nr, to - from == kPageSize);
            if (!page) return false;
            it = f.pages.emplace(nr, std::move(page)).first;
        }
        std::memcpy(it->second->data() + (from - page_start), buf + (from - offset), size_t(to - from));
    }
    return true;
}

bool bad_range(uint32_t len, int64_t offset) {
    return len > uint32_t(INT_MAX) || offset < 0 || offset > INT64_MAX - int64_t(len);
}

int open_file(const char *path, int flags) {
    OverlayState &s = state();
    if (path == nullptr) return fail(EFAULT);
    if (posix_open_flags(flags) < 0) return fail(EINVAL);
    int fd = s.write_through ? posix_open(path, flags)
                             : ::open(resolve_alias(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return fd;
    struct stat st;
    if (::fstat(fd, &st) != 0) {
        int err = errno;
        ::close(fd);
        return fail(err);
    }
    FileOverlay &file = s.files[{st.st_dev, st.st_ino}];
    int64_t mtime_ns = int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    if (!s.write_through && (file.real_size != st.st_size || file.real_mtime_ns != mtime_ns)) {
        file = FileOverlay{};
        file.real_size = st.st_size;
        file.real_mtime_ns = mtime_ns;
    }
    s.open[fd] = OpenFile{&file, flags & 0x3, {st.st_dev, st.st_ino}};
    return fd;
}

int overlay_open(const char *path, int flags) {
    return without_exceptions([&] { return open_file(path, flags); });
}

int overlay_close(int fd) {
    state().open.erase(fd);
    return ::close(fd);
}

// Replaces what was read of [offset, offset + got) where a redirect covers it.
bool read_redirected(const FileId &id, unsigned char *out, int got, int64_t offset) {
    auto it = state().redirects.find(id);
    if (it == state().redirects.end()) return true;
    for (const Redirect &r : it->second) {
        int64_t from = std::max(offset, r.offset), to = std::min(offset + got, r.offset + r.length);
        if (from >= to) continue;
        int src = ::open(r.source.c_str(), O_RDONLY | O_CLOEXEC);
        if (src < 0) return false;
        int n = posix_read(src, out + (from - offset), uint32_t(to - from), r.source_offset + (from - r.offset));
        ::close(src);
        if (n != to - from) {
            if (n >= 0) errno = EIO; // the source is shorter than the stretch
            return false;
        }
    }
    return true;
}

int overlay_read(int fd, void *buf, uint32_t len, int64_t offset) {
    OpenFile *of = usable(fd, RFS_O_WRONLY);
    if (of == nullptr) return -1;
    if (bad_range(len, offset)) return fail(EINVAL);
    auto *out = static_cast<unsigned char *>(buf);
    int got = posix_read(fd, out, len, offset);
    if (got < 0) return got;
    if (!read_redirected(of->id, out, got, offset)) return -1;
    // Past the real end of file, the bytes written in memory still count.
    int64_t mem_avail = std::clamp<int64_t>(of->file->mem_end - offset, 0, len);
    int avail = std::max(got, int(mem_avail));
    std::memset(out + got, 0, size_t(avail - got));
    copy_pages_out(*of->file, out, uint32_t(avail), offset);
    return avail;
}

int overlay_write(int fd, const void *buf, uint32_t len, int64_t offset) {
    OverlayState &s = state();
    OpenFile *of = usable(fd, RFS_O_RDONLY);
    if (of == nullptr) return -1;
    if (bad_range(len, offset)) return fail(EINVAL);
    auto *in = static_cast<const unsigned char *>(buf);
    if (s.write_through) {
        int put = posix_write(fd, in, len, offset);
        if (put > 0) {
            copy_pages_in(fd, *of->file, in, uint32_t(put), offset, false);
            s.bytes_written += uint64_t(put);
        }
        return put;
    }
    if (without_exceptions([&] { return copy_pages_in(fd, *of->file, in, len, offset, true) ? 0 : -1; }) < 0)
        return -1;
    of->file->mem_end = std::max(of->file->mem_end, offset + int64_t(len));
    s.bytes_written += len;
    return int(len);
}

int overlay_sync(int fd) {
    if (state().write_through) return posix_sync(fd);
    return state().open.count(fd) ? 0 : fail(EBADF);
}

} // namespace

StorageOps overlay_ops() {
    return {overlay_open, overlay_close, overlay_read, overlay_write, overlay_sync};
}

int install_overlay() { return install(overlay_ops()); }

void overlay_set_write_through(bool on) { state().write_through = on; }

bool overlay_write_through() { return state().write_through; }

size_t overlay_page_count() {
    size_t n = 0;
    for (const auto &entry : state().files) n += entry.second.pages.size();
    return n;
}

uint64_t overlay_bytes_written() { return state().bytes_written; }

bool overlay_redirect(const std::string &path, int64_t offset, int64_t length, const std::string &source,
                      int64_t source_offset) {
    struct stat st;
    if (::stat(resolve_alias(path).c_str(), &st) != 0 || offset < 0 || length < 0 || source_offset < 0) return false;
    state().redirects[{st.st_dev, st.st_ino}].push_back({offset, length, resolve_alias(source), source_offset});
    return true;
}

void overlay_reset() {
    OverlayState &s = state();
    s.redirects.clear();
    for (auto &entry : s.files) {
        entry.second.pages.clear();
        entry.second.mem_end = 0;
    }
    s.bytes_written = 0;
}

} // namespace rfs_host
