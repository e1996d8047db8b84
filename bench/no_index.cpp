// What a user has without the index: the data area scanned for frame
// headers to find one day's recordings.
#include <algorithm>
#include <cstring>

#include "harness.h"
#include "trace.h"

namespace bench {

namespace {

constexpr uint32_t kPiece = 1 << 20;
constexpr size_t kHeader = 40;

int64_t le64(const uint8_t *p) {
    uint64_t v = 0;
    for (int i = 7; i >= 0; --i) v = v << 8 | p[i];
    return int64_t(v);
}

// Counts the frames of the day in one piece; false when the written part of
// the data file ends in it (its last 4 KiB are zero).
bool scan_piece(const uint8_t *p, size_t n, int64_t from_us, int64_t to_us, int64_t *found) {
    for (const uint8_t *at = p; n - size_t(at - p) >= kHeader;) {
        at = static_cast<const uint8_t *>(memmem(at, n - size_t(at - p) - kHeader + 4, "QKFm", 4));
        if (!at) break;
        int64_t us = le64(at + 16);
        if (us >= from_us && us < to_us) ++*found;
        at += 4;
    }
    const size_t tail = std::min<size_t>(n, 4096);
    return std::any_of(p + n - tail, p + n, [](uint8_t b) { return b != 0; });
}

// Every data file the recorder used, from the start of its media area,
// piece after piece (overlapping by a header) until the written part ends.
int64_t scan_day(const Disk &disk, int day) {
    const rfs_host::StorageOps ops = traced_ops();
    int fd = ops.open(disk.path.c_str(), RFS_O_RDONLY);
    check(fd >= 0, "open " + disk.path);
    const int64_t from = (rec::packed_to_unix(kStart) + int64_t(day) * 86400) * 1000000;
    const int64_t to = from + int64_t(86400) * 1000000;
    static std::vector<uint8_t> piece(kPiece);
    int64_t found = 0;
    for (int f = 1; f <= disk.data_files; ++f) {
        uint64_t base = disk.geometry.data_file_base(0, f);
        for (uint64_t pos = disk.geometry.media_start; pos + kPiece <= disk.geometry.file_size;
             pos += kPiece - kHeader) {
            int got = ops.read(fd, piece.data(), kPiece, int64_t(base + pos));
            if (got <= 0 || !scan_piece(piece.data(), size_t(got), from, to, &found)) break;
        }
    }
    ops.close(fd);
    return found;
}

} // namespace

void add_reference_entries(std::vector<Entry> &out, const Options &opt) {
    // The 1,000-file disk when it is measured, else the first one that is.
    const Scale *s = opt.scales.front();
    for (const Scale *t : opt.scales)
        if (t == find_scale("1000")) s = t;
    out.push_back({"no index: scan the data area for one day", std::string(s->name) + " raw",
                   [s] {
                       unmount_all();
                       const Disk &disk = scale_disk(*s, false);
                       const int day = s->days / 2;
                       Op op;
                       op.run = [&disk, day] { check(scan_day(disk, day) > 0, "frames of the day"); };
                       return op;
                   }});
}

} // namespace bench
