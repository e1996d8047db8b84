// The disk parameter block: geometry, partition bases, index flags, sizes.
// Its check sum is made valid, so the input reaches everything behind it.
#include "fuzz_target.h"

FuzzTarget fuzz_target() {
    const SampleDisk &d = sample_disk(SampleKind::raw);
    return region_target({{d.path, {128}, 272}}, true);
}
