// The file-table record of a data file and the partition record, as the
// recorder last wrote them.
#pragma once

#include <deque>
#include <vector>

#include "records.h"
#include "writer.h"

namespace rec {

// A record file's record is rewritten whenever one of its events closes, so
// an event still being written shows only in event_nr; its start, end, day
// map and write positions are those of the closed events. A picture file's
// record is written when the file is opened and when it is closed; in
// between the pictures live only in their records and the "Pend" marker.
FileFields summarize_file(const DataFile& f, const Geometry& g,
                          const std::deque<EventTruth>& events,
                          const std::deque<PictureTruth>& pictures);

PartitionFields summarize_partition(const std::vector<FileFields>& files, uint8_t state,
                                    uint8_t repair_flag);

}  // namespace rec
