#include "search/scan.h"

#include <algorithm>
#include <cerrno>

#include "disk/index.h"
#include "disk/paths.h"
#include "frame/log.h"
#include "frame/storage.h"
#include "search/scan_filters.h"

namespace rfs {

namespace {

// A search only reads the index; recovery opens what it writes itself.
constexpr int kIndexReadFlags = RFS_O_RDONLY | RFS_O_BINARY;
constexpr int kEndEarly = kScanStop; // no usable index copy / no data files: the search ends with 0

bool disk_in_scan(const ScanSettings &s, const disk_info_t &d, int slot) {
    // The pass goes first, dividing toward zero: a disk whose group was
    // refused at mount (gfd -1) falls in the first pass and is reported
    // there only.
    if (s.pass >= 0 && d.gfd / 32 != s.pass) return false;
    if (d.gfd < 0 || d.gfd >= kDiskGroups) {
        rfs_log("disk[%d] is in valid disk group[%d]\n", slot, d.gfd);
        return false;
    }
    if (d.param.disk_state() > 2) {
        rfs_log("disk%d is err\n", d.id);
        return false;
    }
    return true;
}

// The write-state table of a recorder-side writer has no layout this library
// knows, and nothing here fills it, so no partition is ever "being written":
// file tables always come from the index and no open event is merged in.

class PartitionScan {
  public:
    PartitionScan(const ScanSettings &s, ScanBuffers &b, ScanVisitor &v, disk_info_t &d, int p)
        : s_(s), buffers_(b), visitor_(v), disk_(d), p_(p),
          table_bytes_(event_table_size(d.param.data_file_size())),
          events_per_file_(table_bytes_ / index_event_info::kSize) {}

    int run();

  private:
    int primary_copy(int *k);
    int open_index();
    int read_file_table(uint32_t count);
    int visit_events(const ScanFile &file);
    int load_batch(int i);

    const ScanSettings &s_;
    ScanBuffers &buffers_;
    ScanVisitor &visitor_;
    disk_info_t &disk_;
    int p_;
    uint32_t table_bytes_;
    uint32_t events_per_file_;
    FdGuard fd_;
    int batch_first_ = 0;
    int batch_count_ = 0;
};

int PartitionScan::primary_copy(int *k) {
    *k = select_index_copy(&disk_.param, p_, true);
    if (*k >= 0) return 0;
    rfs_log("can't find valid index!\n");
    return kEndEarly;
}

// Each successful recovery strikes out a copy for good, so the loop ends at
// the latest when fewer than two copies are left and no primary is found.
int PartitionScan::open_index() {
    for (;;) {
        int k, r = primary_copy(&k);
        if (r) return r;
        fd_.reset(open_index_file(disk_.path, kIndexReadFlags, k));
        if (fd_.get() >= 0) return 0;
        int err = errno;
        if (is_disk_dropped(disk_.path, err)) {
            rfs_log("%s is drop\n", disk_.path);
            return RFS_ERR_OPEN;
        }
        if (!s_.recover_on_open) {
            rfs_log("open %s err\n", disk_.path);
            return RFS_ERR_OPEN;
        }
        if (recover_index_copy(&disk_.param, p_, 0, fd_.addr(), disk_.path) != 0) {
            rfs_log("open %s err\n", disk_.path);
            return RFS_ERR_OPEN;
        }
    }
}

int PartitionScan::read_file_table(uint32_t count) {
    int k, r = primary_copy(&k);
    if (r) return r;
    uint64_t at = index_copy_addr(disk_.param, p_, k, disk_.param.file_table_off());
    uint32_t len = count * uint32_t(index_file_info::kSize);
    if (len == 0 || read_exact(fd_.get(), buffers_.file_table(), len, at)) return 0;
    if (s_.range_test == RangeTest::month) rfs_log("read %s err\n", disk_.path);
    else rfs_log("read err\n");
    return RFS_ERR_INDEX_READ;
}

// Brings file i's event table into the batch: the tables of up to 40
// consecutive files from i on, as many as the read returned whole. Returns
// 0, kScanLeaveFile when no whole table came back, kEndEarly or an error.
int PartitionScan::load_batch(int i) {
    if (s_.log_batches) rfs_log("event_buf:%d-%d,now:%d\n", batch_first_, batch_count_, i);
    if (i >= batch_first_ && i < batch_first_ + batch_count_) return 0;
    int k, r = primary_copy(&k);
    if (r) return r;
    uint32_t want = uint32_t(std::min<uint64_t>(uint64_t(kEventBatchFiles) * table_bytes_,
                                                buffers_.batch_bytes()));
    uint64_t at = index_copy_addr(disk_.param, p_, k, event_table_offset(disk_.param, uint32_t(i)));
    int got = storage_read(fd_.get(), buffers_.batch(), want, at);
    // A failed read (negative count) is treated like an empty one.
    if (got <= 0) {
        rfs_log("read event err\n");
        return RFS_ERR_INDEX_READ;
    }
    batch_first_ = i;
    batch_count_ = int(std::min<uint32_t>(uint32_t(got), want) / table_bytes_);
    if (s_.log_batches) rfs_log("read_event:buf:%d-%d,now:%d\n", i, batch_count_, i);
    return batch_count_ ? 0 : kScanLeaveFile;
}

int PartitionScan::visit_events(const ScanFile &file) {
    int r = load_batch(file.index);
    if (r) return r == kScanLeaveFile ? 0 : r;
    const uint8_t *table = buffers_.batch() + size_t(file.index - batch_first_) * table_bytes_;
    // A count above the table's capacity is the table's capacity.
    uint32_t count = std::min<uint32_t>(index_file_info::event_nr(file.record), events_per_file_);
    for (uint32_t k = 0; k < count; ++k) {
        const uint8_t *event = table + size_t(k) * index_event_info::kSize;
        if (!event_selected(s_, event)) continue;
        r = visitor_.on_event(file, int(k), event);
        if (r < 0 || r == kScanStop) return r;
        if (r == kScanLeaveFile) break;
    }
    return 0;
}

int PartitionScan::run() {
    const PartitionRecord &part = disk_.partition[p_];
    if (part.part_state() > 1) {
        rfs_log("disk%d part%d is err\n", disk_.id, p_);
        return 0;
    }
    if (g_max_part_file_nr == 0) return kEndEarly;
    if (!partition_selected(s_, part)) return 0;
    int r = open_index();
    if (r) return r;
    // The file table buffer holds the largest file count mounted; a partition
    // claiming more is read only that far.
    uint32_t count = std::min<uint32_t>(part.file_nr(), uint32_t(buffers_.file_records()));
    if ((r = read_file_table(count)) != 0) return r;
    for (uint32_t i = 0; i < count; ++i) {
        ScanFile file{&disk_, p_, int(i), buffers_.file_table() + size_t(i) * index_file_info::kSize,
                      fd_.get()};
        if (!file_selected(s_, file.record)) continue;
        r = visitor_.on_file(file);
        if (r < 0 || r == kScanStop) return r;
        if (r == kScanLeaveFile || !s_.read_events) continue;
        if ((r = visit_events(file)) != 0) return r;
    }
    return 0;
}

} // namespace

int ScanBuffers::allocate(bool with_events) {
    // At least one byte each, so that nothing mounted yet still allocates.
    file_records_ = g_max_part_file_nr;
    if (!file_table_.allocate(std::max<size_t>(file_records_ * index_file_info::kSize, 1))) {
        rfs_log("malloc index_file_info err\n");
        return RFS_ERR_NO_MEMORY;
    }
    if (with_events &&
        !batch_.allocate(std::max<size_t>(size_t(kEventBatchFiles) * g_event_index_size, 1))) {
        rfs_log("malloc index_event_info err\n");
        return RFS_ERR_NO_MEMORY;
    }
    return 0;
}

ScanResult run_scan(const ScanSettings &s, ScanBuffers &buffers, ScanVisitor &visitor) {
    for (int slot = 0; slot < kMaxDisks; ++slot) {
        disk_info_t *d = pg_disk_list[slot];
        if (!d || !disk_in_scan(s, *d, slot)) continue;
        int parts = std::min<int>(d->param.part_count(), kMaxPartitions);
        for (int p = 0; p < parts; ++p) {
            int r = PartitionScan(s, buffers, visitor, *d, p).run();
            if (r < 0) return {r, false};
            if (r == kEndEarly) return {0, true};
        }
    }
    return {};
}

} // namespace rfs
