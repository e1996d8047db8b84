#include "memory_storage.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace rfs_host {

namespace {

struct OpenFile {
    std::string path;
    int access; // RFS_O_RDONLY, RFS_O_WRONLY or RFS_O_RDWR
};

struct MemoryState {
    MemoryFiles files;
    std::map<int, OpenFile> open;
};

MemoryState &state() {
    static MemoryState s;
    return s;
}

int fail(int err) {
    errno = err;
    return -1;
}

// Calls step(page number, offset in the page, offset in the buffer, length)
// for every page that [offset, offset + len) touches.
template <typename Step>
void for_each_page(uint64_t offset, uint64_t len, Step step) {
    for (uint64_t done = 0; done < len;) {
        uint64_t at = offset + done;
        uint64_t in_page = at % kMemoryPageSize;
        uint64_t n = std::min(len - done, kMemoryPageSize - in_page);
        step(at / kMemoryPageSize, in_page, done, n);
        done += n;
    }
}

void copy_out(const MemoryFile &f, uint8_t *buf, uint64_t len, uint64_t offset) {
    for_each_page(offset, len, [&](uint64_t nr, uint64_t in_page, uint64_t done, uint64_t n) {
        auto it = f.pages.find(nr);
        if (it == f.pages.end()) std::memset(buf + done, 0, n);
        else std::memcpy(buf + done, it->second->data() + in_page, n);
    });
}

// A page shared with a saved state is copied before it changes.
void copy_in(MemoryFile &f, const uint8_t *buf, uint64_t len, uint64_t offset) {
    for_each_page(offset, len, [&](uint64_t nr, uint64_t in_page, uint64_t done, uint64_t n) {
        std::shared_ptr<MemoryPage> &page = f.pages[nr];
        if (!page) page = std::make_shared<MemoryPage>();
        else if (page.use_count() > 1) page = std::make_shared<MemoryPage>(*page);
        std::memcpy(page->data() + in_page, buf + done, n);
    });
}

// The bytes of [offset, offset + len) that lie inside the file.
uint64_t inside(const MemoryFile &f, uint32_t len, int64_t offset) {
    return uint64_t(offset) >= f.size ? 0 : std::min<uint64_t>(len, f.size - uint64_t(offset));
}

// The file behind a descriptor, or null (errno set) when the descriptor is
// not open, its access mode forbids the operation, or the range is invalid.
MemoryFile *usable(int fd, int forbidden_access, uint32_t len, int64_t offset) {
    MemoryState &s = state();
    auto it = s.open.find(fd);
    if (it == s.open.end() || it->second.access == forbidden_access) return fail(EBADF), nullptr;
    if (len > uint32_t(INT_MAX) || offset < 0) return fail(EINVAL), nullptr;
    auto file = s.files.find(it->second.path);
    if (file == s.files.end()) return fail(EIO), nullptr; // the state was restored without it
    return &file->second;
}

int memory_open(const char *path, int flags) {
    if (path == nullptr) return fail(EFAULT);
    int access = flags & 0x3;
    if ((flags & ~(0x3 | RFS_O_BINARY)) || access == 0x3) return fail(EINVAL);
    return without_exceptions([&] {
        MemoryState &s = state();
        if (!s.files.count(path)) return fail(ENOENT);
        int fd = 3;
        while (s.open.count(fd)) ++fd;
        s.open[fd] = OpenFile{path, access};
        return fd;
    });
}

int memory_close(int fd) { return state().open.erase(fd) ? 0 : fail(EBADF); }

int memory_read_op(int fd, void *buf, uint32_t len, int64_t offset) {
    MemoryFile *f = usable(fd, RFS_O_WRONLY, len, offset);
    if (!f) return -1;
    uint64_t n = inside(*f, len, offset);
    copy_out(*f, static_cast<uint8_t *>(buf), n, uint64_t(offset));
    return int(n);
}

int memory_write_op(int fd, const void *buf, uint32_t len, int64_t offset) {
    MemoryFile *f = usable(fd, RFS_O_RDONLY, len, offset);
    if (!f) return -1;
    uint64_t n = inside(*f, len, offset);
    return without_exceptions([&] {
        copy_in(*f, static_cast<const uint8_t *>(buf), n, uint64_t(offset));
        return n == 0 && len > 0 ? fail(ENOSPC) : int(n);
    });
}

int memory_sync(int fd) { return state().open.count(fd) ? 0 : fail(EBADF); }

bool all_zero(const uint8_t *p, size_t n) {
    return std::all_of(p, p + n, [](uint8_t b) { return b == 0; });
}

// Reads the data regions of a real (possibly sparse) file into `f`.
bool import_file(MemoryFile &f, const std::string &real_path) {
    int fd = ::open(real_path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat st;
    bool ok = ::fstat(fd, &st) == 0;
    f.size = ok ? uint64_t(st.st_size) : 0;
    MemoryPage page;
    for (off_t at = 0; ok && at < st.st_size;) {
        off_t data = ::lseek(fd, at, SEEK_DATA);
        if (data < 0) break; // only a hole is left
        off_t hole = ::lseek(fd, data, SEEK_HOLE);
        for (at = data; ok && at < hole; at += off_t(kMemoryPageSize)) {
            ssize_t n = ::pread(fd, page.data(), kMemoryPageSize, at);
            ok = n >= 0;
            if (n > 0 && !all_zero(page.data(), size_t(n))) copy_in(f, page.data(), uint64_t(n), uint64_t(at));
        }
    }
    ::close(fd);
    return ok;
}

} // namespace

MemoryFiles &memory_files() { return state().files; }

void memory_write(const std::string &path, uint64_t offset, const void *data, size_t len) {
    MemoryFile &f = state().files[path];
    f.size = std::max(f.size, offset + len);
    copy_in(f, static_cast<const uint8_t *>(data), len, offset);
}

std::vector<uint8_t> memory_read(const std::string &path, uint64_t offset, size_t len) {
    std::vector<uint8_t> out(len);
    auto it = state().files.find(path);
    if (it != state().files.end()) copy_out(it->second, out.data(), len, offset);
    return out;
}

bool memory_import(const std::string &path, const std::string &real_path) {
    struct stat st;
    if (::stat(real_path.c_str(), &st) != 0) return false;
    if (!S_ISDIR(st.st_mode)) return import_file(state().files[path] = MemoryFile{}, real_path);
    DIR *dir = ::opendir(real_path.c_str());
    if (!dir) return false;
    bool ok = true;
    while (dirent *e = ::readdir(dir)) {
        std::string name = e->d_name, real = real_path + "/" + name;
        if (::stat(real.c_str(), &st) == 0 && S_ISREG(st.st_mode))
            ok = import_file(state().files[path + "/" + name] = MemoryFile{}, real) && ok;
    }
    ::closedir(dir);
    return ok;
}

std::vector<std::pair<std::string, uint64_t>> memory_changed_pages(const MemoryFiles &before,
                                                                   const MemoryFiles &after) {
    static const MemoryFile kNone;
    static const MemoryPage kZeros{};
    auto file_in = [](const MemoryFiles &files, const std::string &path) -> const MemoryFile & {
        auto it = files.find(path);
        return it == files.end() ? kNone : it->second;
    };
    auto page_in = [](const MemoryFile &f, uint64_t nr) -> const MemoryPage & {
        auto it = f.pages.find(nr);
        return it == f.pages.end() ? kZeros : *it->second;
    };
    std::vector<std::pair<std::string, uint64_t>> changed;
    auto compare = [&](const std::string &path) {
        const MemoryFile &a = file_in(before, path), &b = file_in(after, path);
        std::map<uint64_t, bool> nrs;
        for (const auto &p : a.pages) nrs[p.first];
        for (const auto &p : b.pages) nrs[p.first];
        for (const auto &[nr, unused] : nrs)
            if (page_in(a, nr) != page_in(b, nr)) changed.emplace_back(path, nr);
    };
    for (const auto &f : after) compare(f.first);
    for (const auto &f : before)
        if (!after.count(f.first)) compare(f.first);
    return changed;
}

StorageOps memory_ops() {
    return {memory_open, memory_close, memory_read_op, memory_write_op, memory_sync};
}

int install_memory() { return install(memory_ops()); }

} // namespace rfs_host
