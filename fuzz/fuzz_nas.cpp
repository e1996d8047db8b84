// A whole NAS directory: index0..3, label0 and the data files, given as the
// records of their non-zero bytes.
#include "fuzz_target.h"

FuzzTarget fuzz_target() {
    FuzzTarget t;
    t.sample = SampleKind::nas;
    t.from_nothing = true;
    std::string dir = sample_disk(SampleKind::nas).path;
    auto file_name = [dir](uint8_t id) {
        if (id < 4) return dir + "/index" + std::to_string(id);
        return id == 4 ? dir + "/label0" : dir + "/file" + std::to_string(id - 5);
    };
    std::vector<std::string> blocks;
    for (uint8_t k = 0; k < 4; ++k) blocks.push_back(file_name(k));
    t.apply = [=](const uint8_t *data, size_t size) { load_disk(data, size, file_name, blocks); };
    t.seeds = [=] { return std::vector<Bytes>{save_disk(sample_disk(SampleKind::nas).files, file_name)}; };
    return t;
}
