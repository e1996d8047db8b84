// A whole raw image, given as the records of its non-zero bytes.
#include "fuzz_target.h"

FuzzTarget fuzz_target() {
    FuzzTarget t;
    t.from_nothing = true;
    std::string image = sample_disk(SampleKind::raw).path;
    auto file_name = [image](uint8_t) { return image; }; // every record lands in the image
    t.apply = [=](const uint8_t *data, size_t size) { load_disk(data, size, file_name, {image}); };
    t.seeds = [=] {
        return std::vector<Bytes>{save_disk(sample_disk(SampleKind::raw).files, file_name),
                                  save_disk(sample_disk(SampleKind::power_cut).files, [](uint8_t) {
                                      return sample_disk(SampleKind::power_cut).path;
                                  })};
    };
    return t;
}
