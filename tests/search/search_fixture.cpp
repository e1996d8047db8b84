#include "search_fixture.h"

#include <algorithm>
#include <fstream>
#include <ostream>
#include <stdexcept>

#include "disk/registry.h"
#include "disk_alias.h"
#include "fault_storage.h"
#include "frame/alloc.h"
#include "frame/state.h"
#include "frame/time.h"
#include "posix_storage.h"

std::ostream &operator<<(std::ostream &os, const Found &f) {
    return os << "{disk " << f.disk << " part " << f.partition << " file " << f.file << " event "
              << f.event << " chn " << f.chn << " " << rec::format_time(f.start) << " - "
              << rec::format_time(f.end) << "}";
}

rec::PackedTime at(const std::string &text) { return rec::t(text); }

Found found_of(const RfsEvent &e) {
    return {int(e.record_id >> 24), int((e.record_id >> 16) & 0xFF), int(e.record_id & 0xFFFF),
            e.event_id, e.chn, rfs::pack_time(e.start), rfs::pack_time(e.end)};
}

void SearchTest::SetUp() {
    rfs_host::clear_aliases();
    rfs_host::fault_install(rfs_host::posix_ops());
    rfs_set_nas_mode(0);
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

std::string SearchTest::make_disk(const rec::DiskSpec &spec,
                                  const std::function<void(rec::Recorder &)> &live,
                                  const std::string &name) {
    std::string real = tmp_.file(name);
    Disk d{name, "", {}, {}};
    {
        rec::Recorder r(spec, real);
        live(r);
        r.finish();
        d.events.assign(r.events().begin(), r.events().end());
        d.geometry = r.geometry();
    }
    d.alias = rfs_host::alias_disk(real);
    disks_.push_back(d);
    return d.alias;
}

void SearchTest::mount(int id, const std::string &name, int kind, int group) {
    auto d = std::find_if(disks_.begin(), disks_.end(), [&](const Disk &x) { return x.name == name; });
    ASSERT_NE(d, disks_.end());
    ASSERT_EQ(rfs_add_disk(id, d->alias.c_str(), kind, group, nullptr), 0);
    int half = (kind == 1 || kind < 0) ? 1 : 0;
    for (const rec::EventTruth &ev : d->events) truth_.push_back({id, half, ev});
}

RfsSearchParam SearchTest::param(const Query &q) {
    chn_bits_.assign(size_t(std::max(q.chn_cnt, 0) + 7) / 8 + 1, 0);
    for (int c = 0; c < 32 && size_t(c / 8) < chn_bits_.size(); ++c)
        if (q.channels >> c & 1) chn_bits_[size_t(c / 8)] |= uint8_t(1 << (c % 8));
    integrated_ = q.integrated;
    RfsSearchParam p{};
    p.data_type = 0;
    p.search_type = q.search_type;
    p.search_mode = q.search_mode;
    p.chnCnt = q.chn_cnt;
    p.record_type = q.types;
    rfs::unpack_time(q.start, &p.start);
    rfs::unpack_time(q.end, &p.end);
    p.skip_zero_length = q.skip_zero_length;
    p.chnBit = chn_bits_.data();
    p.integratedRecType = integrated_.empty() ? nullptr : integrated_.data();
    p.integratedRecTypeCount = uint32_t(integrated_.size());
    return p;
}

namespace {
bool type_matches(const Query &q, uint64_t type) {
    if (type & q.types) return true;
    for (uint64_t m : q.integrated)
        if ((type & m) == m) return true;
    return false;
}

bool covered_by_first_half(const std::vector<Truth> &all, const Truth &t) {
    // Only the simple case the tests build: one first-half event of the same
    // channel whose span contains the event.
    for (const Truth &o : all)
        if (o.group_half == 0 && o.ev.chn == t.ev.chn && o.ev.start <= t.ev.start &&
            o.ev.end >= t.ev.end)
            return true;
    return false;
}
} // namespace

std::vector<Found> SearchTest::expected(const Query &q) const {
    std::vector<Found> out;
    for (const Truth &t : truth_) {
        const rec::EventTruth &e = t.ev;
        if (e.state != rec::EventState::Closed || e.skip_flag == 1) continue;
        if (e.chn >= q.chn_cnt || !(q.channels >> e.chn & 1) || !type_matches(q, e.type_mask)) continue;
        if (e.start > e.end || e.start > q.end || e.end < q.start) continue;
        if (q.skip_zero_length && e.start == e.end) continue;
        if (t.group_half == 1 && covered_by_first_half(truth_, t)) continue;
        out.push_back({t.disk, e.partition, e.file_no - 1, e.event_no - 1, e.chn, e.start, e.end});
    }
    std::stable_sort(out.begin(), out.end(), [](const Found &a, const Found &b) {
        return a.start != b.start ? a.start < b.start : a.chn < b.chn;
    });
    return out;
}

int SearchTest::search(const Query &q, RfsEventList *merged, int32_t num) {
    RfsSearchParam p = param(q);
    RfsEventList list{};
    return rfs_find_start(&p, merged ? merged : &list, num);
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
    std::stable_sort(out.begin(), out.end(), [](const Found &a, const Found &b) {
        return a.start != b.start ? a.start < b.start : a.chn < b.chn;
    });
    return out;
}

const SearchTest::Disk &SearchTest::disk(const std::string &name) const {
    for (const Disk &d : disks_)
        if (d.name == name) return d;
    throw std::invalid_argument("no disk " + name);
}

void SearchTest::poke(const std::string &name, uint64_t off, const std::vector<uint8_t> &bytes) {
    std::fstream io(tmp_.file(name), std::ios::binary | std::ios::in | std::ios::out);
    io.seekp(std::streamoff(off));
    io.write(reinterpret_cast<const char *>(bytes.data()), std::streamsize(bytes.size()));
}
