// The searches that answer straight into a buffer of the host's and use no
// session: the month calendar (records, pictures or labels) and the one-day
// timeline of 48 half-hour slots.
#pragma once

#include <cstdint>

#include "frame/time.h"
#include "rfs.h"

namespace rfs {

struct ScanFile;

// The month calendars fill a cleared *out (see start_month_result).
//
// Days of the month of param->start that hold records of the selected
// channels and types (data_type 0) or pictures (data_type 1). 0, -12, -13
// or -14.
int month_calendar(const RfsSearchParam *param, RfsMonthResult *out);

// ORs the low word of the record types of every selected event into the
// half-hour slots it touches within [start, end]. Never clears *out.
// 0, -12, -13 or -14.
int day_timeline(const RfsSearchParam *param, RfsDaySlots *out);

// Days of the month of param->start that carry a valid label of a selected
// channel. 0 or -1.
int label_calendar(const RfsSearchParam *param, RfsMonthResult *out);

// What every month calendar does first: refuses a missing result ("invalid
// param output mon\n", -11), clears it and dumps the request. 0 or -11.
int start_month_result(const RfsSearchParam *param, RfsMonthResult *out);

// Marks out->day_types[d] = 1 for every entry of the picture file's PicMon_
// table dated in the month of param->start, d being the entry's day byte.
// A block that cannot be opened, read or accepted is logged and left.
void read_pic_month(const ScanFile &file, const RfsSearchParam &param, RfsMonthResult *out);

} // namespace rfs
