#include "repair/repair_report.h"

#include <cstdlib>
#include <cstring>

#include "frame/alloc.h"
#include "frame/log.h"
#include "frame/state.h"
#include "frame/time.h"

namespace rfs {

namespace {

struct Report {
    RfsRepairAction *items = nullptr;
    int count = 0;
    int capacity = 0;
};

Report g_reports[kMaxDisks];
int g_report_slot = -1; // the slot being mounted

constexpr int kReportStep = 64;

} // namespace

void repair_report_clear(int id) {
    if (id < 0 || id >= kMaxDisks) return;
    std::free(g_reports[id].items);
    g_reports[id] = Report{};
}

void repair_report_clear_all() {
    for (int id = 0; id < kMaxDisks; ++id) repair_report_clear(id);
    g_report_slot = -1;
}

void repair_report_begin(int id) {
    repair_report_clear(id);
    g_report_slot = (id >= 0 && id < kMaxDisks) ? id : -1;
}

void repair_report_add(const RfsRepairAction &a) {
    if (g_report_slot < 0) return;
    Report &r = g_reports[g_report_slot];
    if (r.count == r.capacity) {
        void *grown = rfs_realloc(r.items, sizeof(RfsRepairAction) * size_t(r.capacity + kReportStep));
        if (!grown) {
            rfs_log("repair report full, %d entries\n", r.count);
            return;
        }
        r.items = static_cast<RfsRepairAction *>(grown);
        r.capacity += kReportStep;
    }
    r.items[r.count++] = a;
}

void remember_repair_time(uint32_t chn, uint64_t type_mask, uint32_t end_time) {
    if (!g_repair_record_time || chn >= uint32_t(max_rec_chn / 2)) return;
    RepairTimeEntry &e = g_repair_record_time[chn];
    if (e.count >= 2) return;
    e.type_mask[e.count] = type_mask;
    unpack_time(end_time, &e.end_time[e.count]);
    ++e.count;
}

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_get_repair_record_time(int chn, uint64_t type_mask,
                                                  RfsDateTime *out) noexcept {
    // Negative channels pass the recorder's own check; they name no entry.
    if (chn >= max_rec_chn / 2 || chn < 0 || !g_repair_record_time) {
        rfs_log("param err chn=%d \n", chn);
        return -1;
    }
    RepairTimeEntry &e = g_repair_record_time[chn];
    if (e.count == 0) return 0;
    // Only the entries of this round: those past the count are dead.
    for (int i = 0; i < e.count && i < 2; ++i)
        if ((e.type_mask[i] & type_mask) && out) std::memcpy(&out->second, &e.end_time[i].second, 7);
    e.count = 0;
    return 0;
}

extern "C" RFS_API int rfs_get_repair_actions(int id, RfsRepairAction *out, int max) noexcept {
    if (id < 0 || id >= kMaxDisks) return RFS_ERR_NO_DISK;
    const Report &r = g_reports[id];
    for (int i = 0; out && i < max && i < r.count; ++i) out[i] = r.items[i];
    return r.count;
}
