// Hand-made damage, one field at a time: counts at their maxima, offsets at
// and past the disk's end, zero sizes, times out of range, each magic wrong
// once, geometry that wraps. Each disk is driven through the whole interface
// and must mount (or be refused) as listed, list the events that survive,
// and write nothing outside the index.
#include "hostile.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes le32(uint32_t v) { return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)}; }
Bytes le64(uint64_t v) {
    Bytes b = le32(uint32_t(v)), hi = le32(uint32_t(v >> 32));
    b.insert(b.end(), hi.begin(), hi.end());
    return b;
}
Bytes text(const std::string &s) { return Bytes(s.begin(), s.end()); }

// Where a record lies on the sample disk. The block, the partition record and
// the records of the index are changed alike in every copy; the file and event
// are those of channel 0's first event; the key frame is its newest.
enum class At { block, part, file, event, kframe, frame, motion, picture, picmon, label_head, label };

std::vector<std::pair<std::string, uint64_t>> places(const SampleDisk &d, At at) {
    const rec::Geometry &g = d.geometry();
    const rec::EventTruth &ev = d.recorder->events().front();
    const rec::PictureTruth &pic = d.recorder->pictures().front();
    auto copies = [&](uint64_t offset) {
        std::vector<std::pair<std::string, uint64_t>> out;
        for (int k = 0; k < 4; ++k) out.emplace_back(d.index_file(k), d.index_base(k) + offset);
        return out;
    };
    auto in_file = [&](int file_no, uint64_t offset) {
        return std::vector<std::pair<std::string, uint64_t>>{{d.data_file(file_no), d.data_file_base(file_no) + offset}};
    };
    switch (at) {
    case At::block: {
        std::vector<std::pair<std::string, uint64_t>> out;
        for (const std::string &f : d.block_files()) out.emplace_back(f, 128);
        return out;
    }
    case At::part: return copies(0);
    case At::file: return copies(g.file_table_off + 336ull * uint64_t(ev.file_no - 1));
    case At::event:
        return copies(g.event_area_off + uint64_t(g.event_table_size) * uint64_t(ev.file_no - 1) + 64ull * uint64_t(ev.event_no - 1));
    case At::kframe: return in_file(ev.file_no, ev.kframes.back().entry_pos);
    case At::frame: return in_file(ev.file_no, ev.kframes.front().offset);
    case At::motion: return in_file(ev.file_no, ev.moarea_end);
    case At::picture: return in_file(pic.file_no, pic.record_pos);
    case At::picmon: return in_file(pic.file_no, 0x1000);
    case At::label_head: return {{d.path, g.label_area}};
    case At::label: return {{d.path, g.label_area + 0x400 + 64ull * uint64_t(d.recorder->labels().front().record_no)}};
    }
    return {};
}

constexpr int kAny = 1;        // no expectation
constexpr int kRefused = -1;   // rfs_add_disk fails
constexpr int kAll = 4;        // the sample's four closed events
constexpr int kSought = 8;     // seeks that find a key frame: each event, in two searches

struct Malformed {
    const char *name;
    At at;
    uint32_t offset; // within the record
    Bytes value;
    int mount = 0;   // 0, kRefused or kAny
    int events = kAll; // events listed, or kAny
    SampleKind disk = SampleKind::raw;
    int sought = kAny; // seeks that found a key frame
};

std::vector<Malformed> cases() {
    const rec::Geometry &g = sample_disk(SampleKind::raw).geometry();
    const uint64_t end = g.total_bytes;
    return {
        // Disk parameter block (its check sum made valid, but for the sum itself).
        {"Qkfs wrong", At::block, 0, text("Qkfx"), kRefused, 0},
        {"version 5.2", At::block, 16, {2, 0}, kRefused, 0},
        {"check sum wrong", At::block, 268, le32(0), kRefused, 0},
        {"fs_type 9", At::block, 15, {9}, kRefused, 0},
        {"part_count 0", At::block, 12, {0}, 0, 0},
        {"part_count 16", At::block, 12, {16}, 0, kAll},
        {"part_count 17", At::block, 12, {17}, kRefused, 0},
        {"part_count 255", At::block, 12, {255}, kRefused, 0},
        {"disk_state 3", At::block, 14, {3}, 0, kAll, SampleKind::raw, kSought},
        {"part_base at the end", At::block, 72, le64(end), 0, 0},
        {"part_base one page before the end", At::block, 72, le64(end - 4096), 0, 0},
        {"part_base past the end", At::block, 72, le64(end + 1), 0, 0},
        {"part_base wraps", At::block, 72, le64(~0ull - 4095), 0, 0},
        {"index_copy_size 0", At::block, 216, le32(0), 0, kAny},
        {"index_copy_size at its maximum", At::block, 216, le32(~0u), 0, kAny},
        {"index copies past the end", At::block, 216, le32(uint32_t(end / 3)), 0, kAny},
        {"no usable index copy", At::block, 200, {0}, 0, 0},
        {"one usable index copy", At::block, 200, {1}, 0, 0},
        {"file_table_off past the copy", At::block, 20, le32(~0u - 15), 0, 0},
        {"event_area_off at its maximum", At::block, 24, le32(~0u), 0, 0},
        {"data_file_size 0", At::block, 64, le32(0)},
        {"data_file_size 0x30000000", At::block, 64, le32(0x30000000)},
        {"data area past the end", At::block, 68, le32(~0u), 0, 0},
        {"label area past the end", At::block, 32, le32(~0u - 31), kAny, kAny},
        // Partition record.
        {"Part wrong", At::part, 0, text("Parx"), 0, 0},
        {"file_nr at its maximum", At::part, 4, {0xFF, 0xFF}, 0, kAny},
        {"file_nr 0", At::part, 4, {0, 0}, 0, 0},
        {"part_state 2", At::part, 10, {2}, 0, 0},
        {"record range inverted", At::part, 16, le64(0x00000000FFFFFFFFull), 0, 0},
        // File record of channel 0's file (two of the four events).
        {"File wrong", At::file, 0, text("Filx"), 0, kAll - 2},
        {"event_nr at its maximum", At::file, 6, {0xFF, 0xFF}},
        {"event_nr 0", At::file, 6, {0, 0}, 0, kAll - 2},
        {"channel at its maximum", At::file, 8, {0xFF, 0xFF}, 0, kAll - 2},
        {"file_state 0", At::file, 10, {0}, 0, kAll - 2},
        {"file_type 7", At::file, 11, {7}, 0, kAll - 2},
        {"file times out of range", At::file, 16, le64(0xFFFFFFFFFFFFFFFFull), 0, kAll - 2},
        // Event record of channel 0's first event.
        {"Even wrong", At::event, 0, text("Evex"), 0, kAll - 1},
        {"event times out of range", At::event, 4, le32(~0u), 0, kAll - 1},
        {"event starts after its end", At::event, 40, le32(0x04000000), 0, kAll - 1},
        {"data_start past the file", At::event, 8, le32(~0u - 15), 0, kAll, SampleKind::raw, kSought - 2},
        {"data_size at its maximum", At::event, 44, le32(~0u), 0, kAll, SampleKind::raw, kSought - 2},
        {"data_size 0", At::event, 44, le32(0)},
        {"key-frame index inverted", At::event, 12, le32(0), 0, kAll, SampleKind::raw, kSought - 2},
        {"key-frame index at its maximum", At::event, 12, le32(~0u), 0, kAll, SampleKind::raw, kSought - 2},
        {"newest key frame past the file", At::event, 48, le32(~0u - 31), 0, kAll, SampleKind::raw, kSought - 2},
        {"motion range at its maximum", At::event, 56, le32(~0u)},
        {"motion range inverted", At::event, 28, le32(~0u)},
        {"skip_flag 1", At::event, 52, {1}, 0, kAll - 1},
        // Newest key-frame entry and a frame header of that event.
        {"key frame past the event", At::kframe, 8, le32(~0u - 7), 0, kAll, SampleKind::raw, kSought},
        {"key frame length at its maximum", At::kframe, 12, le32(~0u)},
        {"key frame length 0", At::kframe, 12, le32(0)},
        {"reference frame at its maximum", At::kframe, 16, le64(~0ull)},
        {"key frame time out of range", At::kframe, 4, le32(~0u)},
        {"QKFm wrong", At::frame, 0, text("QKFx")},
        {"frame time out of range", At::frame, 16, le64(~0ull)},
        {"MoBitEnd wrong", At::motion, 0, text("MoBx")},
        // Pictures, the picture-month block, labels.
        {"Pict wrong", At::picture, 0, text("Picx")},
        {"picture length at its maximum", At::picture, 12, le32(~0u)},
        {"picture past the file", At::picture, 8, le32(~0u - 4095)},
        {"PicMon_ wrong", At::picmon, 0, text("PicMox")},
        {"PicMon_ count at its maximum", At::picmon, 12, le32(~0u)},
        {"PicMon_ entry size 0", At::picmon, 28, le32(0)},
        {"PicMon_ entry size 1", At::picmon, 28, le32(1)},
        {"PicMon_ table past the file", At::picmon, 24, le32(~0u)},
        {"label head empty", At::label_head, 0, le32(0)},
        {"LabH wrong", At::label_head, 4, text("LabX")},
        {"last label number at its maximum", At::label_head, 8, le32(~0u)},
        {"label half range inverted", At::label_head, 16, le64(0x00000000FFFFFFFFull)},
        {"Lend on the first label", At::label, 0, text("Lend")},
        {"label text without its end", At::label, 21, Bytes(43, 'x')},
        // The power-cut disk: its interrupted event is repaired at mount.
        {"repair: Pend wrong", At::picture, 0, text("Penx"), 0, kAny, SampleKind::power_cut},
        {"NAS: part_base past index0", At::block, 72, le64(1ull << 40), 0, 0, SampleKind::nas},
        {"NAS: data file table past the file", At::file, 32, le32(~0u), 0, kAll, SampleKind::nas},
        // Found by the damaged-disk run (seed 739): copies 1 to 3 past the
        // disk's end once had repair fail, the spare refuse the recovery copy
        // and the good copy copied onto itself, 1.3 GB in place. The partition
        // is unusable and nothing is written.
        {"repair: index copies past the end", At::block, 216, le32(0xFF020000), 0, 0, SampleKind::power_cut},
    };
}

TEST(Malformed, EachFieldAtItsLimits) {
    for (const Malformed &m : cases()) {
        SCOPED_TRACE(m.name);
        const SampleDisk &disk = sample_disk(m.disk);
        rfs_host::memory_files() = disk.files;
        for (const auto &[file, offset] : places(disk, m.at)) {
            rfs_host::memory_write(file, offset + m.offset, m.value.data(), m.value.size());
            if (m.at == At::block && m.offset != 268) fix_block_sum(file);
        }
        ExerciseResult r = exercise_and_check(disk, rfs_host::memory_files(), m.name);
        EXPECT_TRUE(m.mount == kAny || r.mount == m.mount) << "mount " << r.mount;
        EXPECT_TRUE(m.events == kAny || r.events_found == m.events) << r.events_found << " events";
        EXPECT_TRUE(m.sought == kAny || r.events_read == m.sought) << r.events_read << " seeks";
    }
    reset_library();
}

} // namespace
