// The label area: its head and the first records of both halves.
#include "fuzz_target.h"

FuzzTarget fuzz_target() {
    const SampleDisk &d = sample_disk(SampleKind::raw);
    uint64_t area = d.geometry().label_area;
    return region_target({{d.path, {area}, 32}, {d.path, {area + 0x400}, 4096}, {d.path, {area + 0x100400}, 1024}});
}
