#include "sample_disk.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace {

// Records the sample's life on `r`. Channel 0's first event has a key frame
// every second, so its key-frame index fills more than one 4 KiB block.
void live(rec::Recorder &r, SampleKind kind) {
    using rec::t;
    rec::RecordOptions every_second;
    every_second.fps = 1;
    every_second.key_interval = 1;
    every_second.ref_every = 2;
    every_second.motion_step = 5;
    rec::RecordOptions plain;
    plain.fps = 5;
    plain.key_interval = 5;
    plain.tail_frames = 2;
    r.record(0, t("2026-03-01 10:00:00"), t("2026-03-01 10:02:20"), rec::kMotion, every_second);
    r.record(1, t("2026-03-01 10:00:10"), t("2026-03-01 10:00:30"), rec::kTimed | rec::kAlarm, plain);
    r.record(0, t("2026-03-01 10:03:00"), t("2026-03-01 10:03:08"), rec::kTimed, plain);
    r.record(3, t("2026-03-01 10:00:40"), t("2026-03-01 10:00:50"), rec::kManual, plain);
    r.snapshot(0, t("2026-03-01 10:00:05"), 3000);
    r.snapshot(1, t("2026-03-01 10:00:15"), 5000);
    r.label(0, t("2026-03-01 10:00:06"), "door opened");
    r.label(1, t("2026-03-01 10:00:20"), "car");
    if (kind != SampleKind::power_cut) {
        r.finish();
        return;
    }
    r.record_interrupted(2, t("2026-03-01 10:04:00"), t("2026-03-01 10:04:12"), rec::kMotion, every_second,
                         rec::Cut::KeyFramesWritten);
    r.power_loss();
}

std::unique_ptr<SampleDisk> build(SampleKind kind) {
    auto disk = std::make_unique<SampleDisk>();
    disk->nas = kind == SampleKind::nas;
    disk->path = kind == SampleKind::raw ? "/mem/raw" : kind == SampleKind::nas ? "/mem/nas" : "/mem/cut";
    rec::DiskShape shape;
    shape.files_per_partition = 5;
    shape.headers_only = true;
    shape.nas = disk->nas;

    std::string dir = (std::filesystem::temp_directory_path() / "rfs-sample-XXXXXX").string();
    if (!::mkdtemp(dir.data())) throw std::runtime_error("no temporary folder for a sample disk");
    std::string real = dir + "/disk";
    disk->recorder = std::make_unique<rec::Recorder>(shape, real);
    live(*disk->recorder, kind);
    rfs_host::MemoryFiles saved = rfs_host::memory_files();
    rfs_host::memory_files().clear();
    bool ok = rfs_host::memory_import(disk->path, real);
    disk->files = rfs_host::memory_files();
    rfs_host::memory_files() = saved;
    std::filesystem::remove_all(dir);
    if (!ok) throw std::runtime_error("cannot load the sample disk");
    return disk;
}

} // namespace

std::string SampleDisk::data_file(int file_no) const {
    return nas ? path + "/file" + std::to_string(file_no - 1) : path;
}

uint64_t SampleDisk::data_file_base(int file_no) const {
    return nas ? 0 : geometry().data_file_base(0, file_no);
}

std::vector<std::string> SampleDisk::block_files() const {
    if (!nas) return {path};
    return {index_file(0), index_file(1), index_file(2), index_file(3)};
}

std::string SampleDisk::index_file(int k) const { return nas ? path + "/index" + std::to_string(k) : path; }

uint64_t SampleDisk::index_base(int k) const {
    return geometry().part_base[0] + (nas ? 0 : uint64_t(k) * geometry().index_copy_size);
}

const SampleDisk &sample_disk(SampleKind kind) {
    static std::unique_ptr<SampleDisk> disks[3];
    std::unique_ptr<SampleDisk> &d = disks[int(kind)];
    if (!d) d = build(kind);
    return *d;
}

void fix_block_sum(const std::string &file) {
    constexpr uint64_t kBlock = 128, kSumOffset = 268;
    std::vector<uint8_t> b = rfs_host::memory_read(file, kBlock, kSumOffset);
    uint8_t sum[4] = {};
    for (size_t i = 0; i < b.size(); ++i) sum[i % 4] ^= b[i]; // XOR of the 67 words before it
    rfs_host::memory_write(file, kBlock + kSumOffset, sum, sizeof sum);
}

