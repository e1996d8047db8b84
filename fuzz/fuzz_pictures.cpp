// A picture file: its file record (picture count, table position), the
// PicMon_ block and its entries, and the picture records at its end.
#include "fuzz_target.h"

FuzzTarget fuzz_target() {
    const SampleDisk &d = sample_disk(SampleKind::raw);
    int file_no = d.recorder->pictures().front().file_no;
    uint64_t base = d.data_file_base(file_no), size = d.geometry().file_size;
    uint64_t record = d.geometry().file_table_off + 336ull * uint64_t(file_no - 1);
    return region_target({{d.path, in_every_copy(d, record), 336},
                          {d.path, {base + 0x1000}, 512},
                          {d.path, {base + size - 1024}, 1024}});
}
