// File helpers for the host storage tests: files are made and checked with
// plain POSIX calls, never through the layer under test.
#pragma once

#include <cstdint>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

inline std::vector<uint8_t> pattern(size_t n, uint8_t seed) {
    std::vector<uint8_t> v(n);
    for (size_t i = 0; i < n; ++i) v[i] = uint8_t(seed + i * 7 + i / 251);
    return v;
}

inline void make_file(const std::string &path, const std::vector<uint8_t> &bytes) {
    int fd = ::open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
    (void)!::pwrite(fd, bytes.data(), bytes.size(), 0);
    ::close(fd);
}

inline std::vector<uint8_t> file_bytes(const std::string &path, int64_t offset = 0, size_t len = 1 << 20) {
    std::vector<uint8_t> out(len);
    int fd = ::open(path.c_str(), O_RDONLY);
    ssize_t n = ::pread(fd, out.data(), len, offset);
    ::close(fd);
    out.resize(n > 0 ? size_t(n) : 0);
    return out;
}
