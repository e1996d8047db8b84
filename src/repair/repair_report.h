// What the repairs of the last mount of each disk slot did, for the host to
// read back (rfs_get_repair_actions), and the end times of repaired events
// that rfs_get_repair_record_time hands out once per channel.
#pragma once

#include <cstdint>

#include "rfs.h"

namespace rfs {

// Starts the report of a mount of slot id (the previous one is dropped).
void repair_report_begin(int id);
// Drops the report of slot id.
void repair_report_clear(int id);
// Drops the reports of every slot (rfs_exit).
void repair_report_clear_all();
// Appends to the report of the mount in progress; an entry that does not fit
// in memory is dropped with a log line.
void repair_report_add(const RfsRepairAction &a);

// Remembers the end time of a repaired event of channel chn (two per
// channel at most, until handed out).
void remember_repair_time(uint32_t chn, uint64_t type_mask, uint32_t end_time);

} // namespace rfs
