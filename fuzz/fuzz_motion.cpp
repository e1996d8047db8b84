// Motion records of a record file and the event entries that bound them
// (moarea_start and moarea_end), in every index copy.
#include "fuzz_target.h"

FuzzTarget fuzz_target() {
    const SampleDisk &d = sample_disk(SampleKind::raw);
    const rec::EventTruth &ev = d.recorder->events().front();
    const rec::Geometry &g = d.geometry();
    uint64_t table = g.event_area_off + uint64_t(g.event_table_size) * uint64_t(ev.file_no - 1);
    return region_target({{d.path, in_every_copy(d, table), 256},
                          {d.path, {d.data_file_base(ev.file_no) + 0x1000}, 8192}});
}
