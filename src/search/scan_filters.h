// The tests the common scan applies to partitions, file records and stored
// events. All time comparisons are unsigned on packed words, bounds inclusive.
#pragma once

#include <cstdint>

#include "disk/layout.h"
#include "search/scan.h"

namespace rfs {

bool partition_selected(const ScanSettings &s, const PartitionRecord &part);
bool file_selected(const ScanSettings &s, const uint8_t *file_record);
bool event_selected(const ScanSettings &s, const uint8_t *event);

} // namespace rfs
