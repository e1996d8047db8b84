// rfs_get_event and the cursor calls: current, previous and next event.
// Records whose covered mark is set are stepped over.
#include <cstring>

#include "frame/log.h"
#include "search/navigate.h"

namespace rfs {

int channel_list(uint32_t handle, int32_t chn, SearchSession **out) {
    SearchSession &s = g_search[handle];
    if (s.state == 0) {
        rfs_log("%d handle isn't exist\n", int(handle));
        return RFS_ERR_SEARCH_HANDLE;
    }
    if (s.data_len[chn] == 0 || !s.event_list[chn]) {
        rfs_log("chn%d have not search or no event\n", chn);
        return RFS_ERR_NO_EVENTS;
    }
    *out = &s;
    return 0;
}

namespace {

int cursor_checks(uint32_t handle, int32_t chn, SearchSession **out) {
    if (handle >= uint32_t(kSearchSessions)) return RFS_ERR_SEARCH_HANDLE;
    if (chn < 0 || chn >= max_rec_chn) return RFS_ERR_CHANNEL;
    return channel_list(handle, chn, out);
}

// The host's record pointer is the one argument these calls cannot do
// without; a null one is refused when the copy is due.
int copy_event(const SearchSession &s, int32_t chn, int32_t i, RfsEvent *out) {
    if (!out) return RFS_ERR_NULL;
    std::memcpy(out, &s.event_list[chn][i], sizeof *out);
    return 0;
}

} // namespace

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_get_event(uint32_t handle, int32_t chn, RfsEventList *out) noexcept {
    if (handle >= uint32_t(kSearchSessions)) return RFS_ERR_HANDLE;
    if (chn < 0 || chn >= max_rec_chn || chn >= kMaxRecChn) return RFS_ERR_CHANNEL;
    if (!out) {
        rfs_log("pointer is null!\n");
        return RFS_ERR_NULL;
    }
    const SearchSession &s = g_search[handle];
    if (s.state == 0) {
        rfs_log("%d handle isn't exist\n", int(handle));
        return RFS_ERR_SEARCH_HANDLE;
    }
    out->list = s.event_list[chn];
    out->count = s.data_len[chn];
    return 0;
}

extern "C" RFS_API int rfs_get_current_event(uint32_t handle, int32_t chn, RfsEvent *out) noexcept {
    SearchSession *s;
    if (int r = cursor_checks(handle, chn, &s)) return r;
    int32_t cursor = s->event_cursor[chn];
    rfs_log("chn%d current event no:%d\n", chn, cursor);
    if (cursor < 0 || cursor >= s->data_len[chn]) return RFS_ERR_CURSOR;
    return copy_event(*s, chn, cursor, out);
}

extern "C" RFS_API int rfs_get_pre_event(uint32_t handle, int32_t chn, RfsEvent *out) noexcept {
    SearchSession *s;
    if (int r = cursor_checks(handle, chn, &s)) return r;
    int32_t &cursor = s->event_cursor[chn];
    if (cursor > s->data_len[chn]) cursor = s->data_len[chn];
    if (cursor <= -1) {
        rfs_log("chn%d pre nr:[%d]\n", chn, cursor);
        return RFS_ERR_AT_START;
    }
    int32_t i = cursor - 1;
    while (i >= 0 && s->event_list[chn][i].covered) --i;
    rfs_log("chn%d pre event no:%d\n", chn, i);
    cursor = i;
    if (i < 0) {
        rfs_log("chn%d pre nr:[%d]\n", chn, cursor);
        return RFS_ERR_AT_START;
    }
    return copy_event(*s, chn, i, out);
}

extern "C" RFS_API int rfs_get_next_event(uint32_t handle, int32_t chn, RfsEvent *out) noexcept {
    SearchSession *s;
    if (int r = cursor_checks(handle, chn, &s)) return r;
    int32_t &cursor = s->event_cursor[chn];
    int32_t n = s->data_len[chn];
    if (cursor < -1) cursor = -1;
    if (cursor >= n) {
        rfs_log("chn%d next event nr:[last(%d)]\n", chn, cursor);
        return RFS_ERR_AT_END;
    }
    int32_t i = cursor + 1;
    while (i < n && s->event_list[chn][i].covered) ++i;
    cursor = i;
    rfs_log("chn%d next event no:%d\n", chn, i);
    if (i >= n) {
        rfs_log("chn%d next event nr:[last(%d)]\n", chn, cursor);
        return RFS_ERR_AT_END;
    }
    return copy_event(*s, chn, i, out);
}
