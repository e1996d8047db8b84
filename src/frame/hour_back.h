// One hour back in local time without a calendar conversion per call.
//
// The seek look-back converts a wall-clock time to calendar time in the local
// zone, subtracts 3600 s and converts back (one_hour_back_local). Converting
// to calendar time makes the C runtime look at the zone's rules again (with
// TZ unset, a stat of the zone file) and search for the time, some
// microseconds a seek. Almost every hour of the year is plain: the answer is
// the same minute and second of the hour before. Which hours are plain is
// found out once per hour by the same conversions and remembered; the others
// (an hour at or just after a clock change, fields the conversion would carry
// over) are converted every time, so every answer is the one the per-call
// conversion gives with the zone's rules as they were when the hour was
// first seen.
#pragma once

#include "rfs.h"

namespace rfs {

RfsDateTime one_hour_back(const RfsDateTime &t);

// Drops what is remembered, so the zone's rules are looked at again. Each
// event collection does, so a search and the seeks on its lists follow the
// zone as it was when they ran.
void forget_local_hours();

} // namespace rfs
