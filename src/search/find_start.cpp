// rfs_find_start / rfs_find_stop: parameter checks, the session pool and the
// dispatch by data type and search type.
#include "frame/log.h"
#include "frame/state.h"
#include "search/calendar.h"
#include "search/collect.h"
#include "search/pic_search.h"
#include "search/session.h"

namespace rfs {

namespace {

constexpr int32_t kMaxRecentNum = 100000;
constexpr uint8_t kRecentMode = 4;

// Month calendars (records, pictures, labels) and the day timeline answer
// into the host's buffer and use no session: 64 stands for the handle.
int run_sessionless_search(const RfsSearchParam *param, void *out) {
    int r;
    if (param->search_type == 1) {
        r = day_timeline(param, static_cast<RfsDaySlots *>(out));
    } else {
        auto *month = static_cast<RfsMonthResult *>(out);
        r = start_month_result(param, month);
        if (r == 0) r = param->data_type == 2 ? label_calendar(param, month) : month_calendar(param, month);
    }
    return r ? r : RFS_NO_SESSION_HANDLE;
}

int run_event_search(uint32_t handle, RfsSearchParam *param, int32_t num) {
    if (param->search_mode != kRecentMode) {
        dump_search_param(param);
        return collect_events(handle, param);
    }
    if (num < 0 || num > kMaxRecentNum) rfs_log("search num out of range. num = %d\n", num);
    return find_recent_events(handle, param, num);
}

} // namespace

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_find_start(RfsSearchParam *param, void *out, int32_t num) noexcept {
    if (!g_rfs_inited) {
        rfs_log("rfs system is not init!!!\n");
        return -1;
    }
    if (!param || ((param->search_type == 1 || param->search_type == 2) && !out)) {
        rfs_log("param which input is err\n");
        return RFS_ERR_NULL;
    }
    if (param->search_type > 3) {
        rfs_log("find type err\n");
        return RFS_ERR_SEARCH_TYPE;
    }
    if (param->search_type < 2) return run_sessionless_search(param, out);

    int handle = claim_search_session(param->data_type);
    if (handle < 0) {
        rfs_log("have no g_output\n");
        return RFS_ERR_NO_SEARCH_SESSION;
    }
    int r;
    if (param->data_type == 1) {
        dump_search_param(param);
        r = search_pictures(uint32_t(handle), param);
    } else if (param->data_type == 0) {
        r = run_event_search(uint32_t(handle), param, num);
    } else {
        return handle; // stays claimed, empty, until stopped
    }
    if (r < 0) {
        release_search_session(uint32_t(handle));
        rfs_log("err\n");
        return r;
    }
    if (param->data_type == 0 && param->search_type == 2) {
        auto *list = static_cast<RfsEventList *>(out);
        list->list = g_search[handle].event_list[0];
        list->count = g_search[handle].data_len[0];
    }
    return handle;
}

extern "C" RFS_API int rfs_find_stop(uint32_t handle) noexcept {
    release_search_session(handle);
    return 0;
}
