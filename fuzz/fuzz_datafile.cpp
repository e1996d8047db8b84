// A record file: the key-frame index at its end, then the frame headers and
// reference frames at the start of its media.
#include "fuzz_target.h"

FuzzTarget fuzz_target() {
    const SampleDisk &d = sample_disk(SampleKind::raw);
    const rec::EventTruth &ev = d.recorder->events().front(); // channel 0, with reference frames
    uint64_t base = d.data_file_base(ev.file_no), size = d.geometry().file_size;
    return region_target({{d.path, {base + size - 8192}, 8192}, {d.path, {base + ev.data_start}, 8192}});
}
