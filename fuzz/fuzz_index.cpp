// A partition's index area, the same in all four copies: the partition
// record, the file table and the first sixteen entries of each event table.
#include "fuzz_target.h"

FuzzTarget fuzz_target() {
    const SampleDisk &d = sample_disk(SampleKind::raw);
    const rec::Geometry &g = d.geometry();
    const uint64_t files = d.recorder->shape().files_per_partition;
    std::vector<Region> regions{{d.path, in_every_copy(d, 0), 40},
                                {d.path, in_every_copy(d, g.file_table_off), uint32_t(files * 336)}};
    for (uint64_t file = 0; file < files; ++file)
        regions.push_back({d.path, in_every_copy(d, g.event_area_off + file * g.event_table_size), 1024});
    return region_target(regions);
}
