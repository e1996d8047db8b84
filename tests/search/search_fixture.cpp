#include "search_fixture.h"

#include <algorithm>
#include <fstream>

#include "disk/registry.h"
#include "disk_alias.h"
#include "fault_storage.h"
#include "frame/alloc.h"
#include "frame/bytes.h"
#include "frame/time.h"
#include "posix_storage.h"

rec::PackedTime at(const std::string &text) { return rec::t(text); }

Query day(const std::string &date) {
    Query q;
    q.start = at(date + " 00:00:00");
    q.end = at(date + " 23:59:59");
    return q;
}

// The library's list order: start time, then channel.
static void by_start_then_channel(std::vector<Found> &v) {
    std::stable_sort(v.begin(), v.end(), [](const Found &a, const Found &b) {
        return std::tie(std::get<5>(a), std::get<4>(a)) < std::tie(std::get<5>(b), std::get<4>(b));
    });
}

Found found_of(const RfsEvent &e) {
    return {int(e.record_id >> 24), int(e.record_id >> 16 & 0xFF), int(e.record_id & 0xFFFF),
            e.event_id, e.chn, rfs::pack_time(e.start), rfs::pack_time(e.end)};
}

void SearchTest::SetUp() {
    rfs_host::clear_aliases();
    rfs_host::fault_install(rfs_host::posix_ops());
    rfs::g_event_index_size = 0;
    rfs::g_max_part_file_nr = 0;
    ASSERT_EQ(rfs_init(kChannels, 1), 0);
}

void SearchTest::TearDown() {
    for (uint32_t h = 0; h < 64; ++h) rfs_find_stop(h);
    for (int id = 0; id < rfs::kMaxDisks; ++id)
        if (rfs::pg_disk_list[id]) rfs_remove_disk(id);
    rfs_exit();
    rfs::set_alloc_failure(-1);
    rfs_host::fault_clear_rules();
    rfs_set_nas_mode(0);
}

void SearchTest::make_disk(const rec::DiskSpec &shape,
                           const std::function<void(rec::Recorder &)> &live,
                           const std::string &name) {
    rec::Recorder r(shape, tmp_.file(name));
    live(r);
    r.finish();
    disks_.push_back({name, rfs_host::alias_disk(tmp_.file(name)),
                      {r.events().begin(), r.events().end()}, r.geometry()});
}

const SearchTest::Disk &SearchTest::disk(const std::string &name) const {
    return *std::find_if(disks_.begin(), disks_.end(), [&](const Disk &d) { return d.name == name; });
}

void SearchTest::mount(int id, const std::string &name, int kind, int group) {
    const Disk &d = disk(name);
    ASSERT_EQ(rfs_add_disk(id, d.alias.c_str(), kind, group, nullptr), 0);
    for (const rec::EventTruth &ev : d.events) truth_.push_back({id, kind == 1 || kind < 0, &ev});
}

void SearchTest::poke(const std::string &name, uint64_t off, uint32_t value, int bytes) {
    uint8_t b[4];
    rfs::store_le32(b, value);
    std::fstream io(tmp_.file(name), std::ios::binary | std::ios::in | std::ios::out);
    io.seekp(std::streamoff(off));
    io.write(reinterpret_cast<const char *>(b), bytes);
}

RfsSearchParam SearchTest::param(const Query &q) {
    chn_bits_.assign(4, 0);
    for (int c = 0; c < 32; ++c)
        if (q.channels >> c & 1) chn_bits_[size_t(c / 8)] |= uint8_t(1 << (c % 8));
    integrated_ = q.integrated;
    RfsSearchParam p{};
    p.search_type = q.search_type;
    p.search_mode = q.search_mode;
    p.chnCnt = q.chn_cnt;
    p.record_type = q.types;
    rfs::unpack_time(q.start, &p.start);
    rfs::unpack_time(q.end, &p.end);
    p.skip_zero_length = q.skip_zero_length;
    p.chnBit = chn_bits_.data();
    p.integratedRecType = integrated_.data();
    p.integratedRecTypeCount = uint32_t(integrated_.size());
    return p;
}

std::vector<Found> SearchTest::expected(const Query &q) const {
    auto type_ok = [&](uint64_t type) {
        return (type & q.types) ||
               std::any_of(q.integrated.begin(), q.integrated.end(),
                           [&](uint64_t m) { return (type & m) == m; });
    };
    // A second-half event is dropped when one first-half event of its channel
    // spans it (the tests build no longer chains).
    auto spanned = [&](const rec::EventTruth &e) {
        return std::any_of(truth_.begin(), truth_.end(), [&](const Mounted &o) {
            return !o.half && o.ev->chn == e.chn && o.ev->start <= e.start && o.ev->end >= e.end;
        });
    };
    std::vector<Found> out;
    for (const Mounted &m : truth_) {
        const rec::EventTruth &e = *m.ev;
        if (e.skip_flag == 1 || e.chn >= q.chn_cnt || !(q.channels >> e.chn & 1)) continue;
        if (!type_ok(e.type_mask) || e.start > q.end || e.end < q.start) continue;
        if ((q.skip_zero_length && e.start == e.end) || (m.half && spanned(e))) continue;
        out.push_back({m.id, e.partition, e.file_no - 1, e.event_no - 1, e.chn, e.start, e.end});
    }
    by_start_then_channel(out);
    return out;
}

int SearchTest::search(const Query &q, RfsEventList *merged, int32_t num) {
    RfsSearchParam p = param(q);
    RfsEventList ignored{};
    return rfs_find_start(&p, merged ? merged : &ignored, num);
}

std::vector<Found> SearchTest::listed(int h, int chn) {
    RfsEventList l{};
    EXPECT_EQ(rfs_get_event(uint32_t(h), chn, &l), 0);
    std::vector<Found> out;
    for (int i = 0; i < l.count; ++i) out.push_back(found_of(l.list[i]));
    return out;
}

std::vector<Found> SearchTest::all_listed(int h) {
    std::vector<Found> out;
    for (int c = 0; c < kChannels; ++c) {
        std::vector<Found> one = listed(h, c);
        out.insert(out.end(), one.begin(), one.end());
    }
    by_start_then_channel(out);
    return out;
}
