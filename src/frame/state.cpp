#include "frame/state.h"

namespace rfs {

uint8_t g_nas_mode = 0;
uint8_t g_rfs_inited = 0;
int max_rec_chn = 0;
int max_rec_nr = 0;
RepairTimeEntry *g_repair_record_time = nullptr;
LabelListEntry *g_label_list = nullptr;
void *WriteStateTable[kDiskGroups] = {};
RfsFdEntry *g_rfs_fd = nullptr;
SearchSession g_search[kSearchSessions] = {};
ReadSession g_read_session[kReadSessions] = {};

} // namespace rfs

extern "C" RFS_API int rfs_set_nas_mode(unsigned char mode) noexcept {
    rfs::g_nas_mode = mode;
    return 0;
}
