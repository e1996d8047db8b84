#include <algorithm>
#include <set>

#include "fuzz_target.h"

std::vector<uint64_t> in_every_copy(const SampleDisk &disk, uint64_t offset) {
    std::vector<uint64_t> at;
    for (int k = 0; k < 4; ++k) at.push_back(disk.index_base(k) + offset);
    return at;
}

void write_regions(const std::vector<Region> &regions, const uint8_t *data, size_t size) {
    for (const Region &r : regions) {
        size_t n = std::min<size_t>(r.size, size);
        for (uint64_t offset : r.offsets) rfs_host::memory_write(r.file, offset, data, n);
        data += n;
        size -= n;
    }
}

Bytes read_regions(const std::vector<Region> &regions) {
    Bytes out;
    for (const Region &r : regions) {
        Bytes b = rfs_host::memory_read(r.file, r.offsets.front(), r.size);
        out.insert(out.end(), b.begin(), b.end());
    }
    return out;
}

FuzzTarget region_target(std::vector<Region> regions, bool fix_sum) {
    FuzzTarget t;
    t.apply = [regions, fix_sum](const uint8_t *data, size_t size) {
        write_regions(regions, data, size);
        if (fix_sum) fix_block_sum(sample_disk(SampleKind::raw).path);
    };
    t.seeds = [regions] { return std::vector<Bytes>{read_regions(regions)}; };
    return t;
}

namespace {

constexpr size_t kRecordHead = 11; // file, offset, length
constexpr uint64_t kMaxOffset = 1ull << 48;
constexpr uint16_t kMaxRun = 0xFFFF;

uint64_t load_le(const uint8_t *p, int bytes) {
    uint64_t v = 0;
    for (int i = bytes - 1; i >= 0; --i) v = v << 8 | p[i];
    return v;
}

void store_le(Bytes &out, uint64_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(uint8_t(v >> (8 * i)));
}

void put_record(Bytes &out, uint8_t file, uint64_t offset, const uint8_t *data, size_t len) {
    out.push_back(file);
    store_le(out, offset, 8);
    store_le(out, len, 2);
    out.insert(out.end(), data, data + len);
}

// Runs of non-zero bytes (gaps shorter than 16 zero bytes kept inside a run).
void put_runs(Bytes &out, uint8_t file, const Bytes &bytes, uint64_t base) {
    for (size_t i = 0; i < bytes.size();) {
        if (bytes[i] == 0) {
            ++i;
            continue;
        }
        size_t end = i, zeros = 0;
        for (size_t j = i; j < bytes.size() && j - i < kMaxRun && zeros < 16; ++j) {
            zeros = bytes[j] ? 0 : zeros + 1;
            if (bytes[j]) end = j + 1;
        }
        put_record(out, file, base + i, bytes.data() + i, end - i);
        i = end;
    }
}

} // namespace

void load_disk(const uint8_t *data, size_t size, const std::function<std::string(uint8_t)> &file_name,
               const std::vector<std::string> &blocks) {
    if (size == 0) return;
    const bool fix_sums = data[0] & 1;
    for (size_t at = 1; at + kRecordHead <= size;) {
        std::string file = file_name(data[at]);
        uint64_t offset = load_le(data + at + 1, 8);
        size_t len = std::min<size_t>(load_le(data + at + 9, 2), size - at - kRecordHead);
        at += kRecordHead;
        if (offset >= kMaxOffset) {
            at += len;
            continue;
        }
        if (len == 0) rfs_host::memory_files()[file].size = offset;
        else rfs_host::memory_write(file, offset, data + at, len);
        at += len;
    }
    for (const std::string &b : blocks)
        if (fix_sums && rfs_host::memory_files().count(b)) fix_block_sum(b);
}

Bytes save_disk(const rfs_host::MemoryFiles &files, const std::function<std::string(uint8_t)> &file_name) {
    Bytes out{0};
    std::set<std::string> saved;
    for (int id = 0; id < 256; ++id) {
        auto it = files.find(file_name(uint8_t(id)));
        if (it == files.end() || !saved.insert(it->first).second) continue;
        uint8_t nothing = 0;
        put_record(out, uint8_t(id), it->second.size, &nothing, 0);
        for (const auto &[nr, page] : it->second.pages)
            put_runs(out, uint8_t(id), Bytes(page->begin(), page->end()), nr * rfs_host::kMemoryPageSize);
    }
    return out;
}
