// The libFuzzer entry points shared by every target.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "exercise.h"
#include "fuzz_target.h"

namespace {

const FuzzTarget &target() {
    static const FuzzTarget t = fuzz_target();
    return t;
}

void write_seeds(const std::string &dir) {
    rfs_host::memory_files() = sample_disk(target().sample).files;
    std::vector<Bytes> seeds = target().seeds();
    for (size_t i = 0; i < seeds.size(); ++i) {
        std::string name = dir + "/seed" + std::to_string(i);
        FILE *f = std::fopen(name.c_str(), "wb");
        if (!f || std::fwrite(seeds[i].data(), 1, seeds[i].size(), f) != seeds[i].size()) std::exit(1);
        std::fclose(f);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    sample_disk(target().sample); // built once, outside the timed runs
    rfs_set_output_sink([](int, const char *, void *) {}, nullptr); // the dumps still format
    if (const char *dir = std::getenv("RFS_FUZZ_SEEDS")) {
        write_seeds(dir);
        std::exit(0);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const SampleDisk &disk = sample_disk(target().sample);
    rfs_host::memory_files() = target().from_nothing ? rfs_host::MemoryFiles{} : disk.files;
    target().apply(data, size);
    rfs_host::install_memory();
    rfs_set_nas_mode(disk.nas ? 1 : 0);
    ExerciseResult r = exercise_disk(disk.path.c_str());
    if (std::getenv("RFS_FUZZ_VERBOSE"))
        std::fprintf(stderr, "mount %d, events %d found %d read (%llu bytes), pictures %d, labels %d\n", r.mount,
                     r.events_found, r.events_read, (unsigned long long)r.bytes_read, r.pictures, r.labels);
    return 0;
}
