#include "playback_fixture.h"

#include "disk/registry.h"
#include "disk_alias.h"
#include "fault_storage.h"
#include "frame/state.h"
#include "posix_storage.h"

RfsDateTime dt(rec::PackedTime t) {
    rec::TimeFields f = rec::unpack_time(t);
    RfsDateTime d{};
    d.year = uint16_t(f.year - 2000);
    d.month = uint8_t(f.month);
    d.day = uint8_t(f.day);
    d.hour = uint8_t(f.hour);
    d.minute = uint8_t(f.minute);
    d.second = uint8_t(f.second);
    return d;
}

void PlaybackTest::SetUp() {
    rfs_host::clear_aliases();
    rfs_host::fault_install(rfs_host::posix_ops());
    rfs::g_max_part_file_nr = 0;
    ASSERT_EQ(rfs_init(16, 1), 0);
}

void PlaybackTest::TearDown() {
    for (int rd = 0; rd < rfs::kReadSessions; ++rd) rfs_read_stop(rd);
    if (handle_ >= 0) rfs_find_stop(uint32_t(handle_));
    if (rfs::pg_disk_list[0]) rfs_remove_disk(0);
    rfs_exit();
    rfs_host::fault_clear_rules();
    rfs_set_nas_mode(0);
}

rec::Recorder &PlaybackTest::recorder(bool nas, uint64_t seed) {
    nas_ = nas;
    rec::DiskSpec spec;
    spec.nas = nas;
    spec.files_per_partition = 4;
    spec.seed = seed;
    rec_ = std::make_unique<rec::Recorder>(spec, dir_.file(nas ? "nas" : "disk.img"));
    return *rec_;
}

void PlaybackTest::mount() {
    rec_->finish();
    rfs_set_nas_mode(nas_ ? 1 : 0);
    std::string path = rfs_host::alias_disk(dir_.file(nas_ ? "nas" : "disk.img"));
    ASSERT_EQ(rfs_add_disk(0, path.c_str(), 0, 0, nullptr), 0);
    uint8_t channels[2] = {0xFF, 0xFF};
    RfsSearchParam p{};
    p.search_type = 3;
    p.chnCnt = 16;
    p.record_type = ~0ull;
    p.start = dt(rec::t("2026-01-01 00:00:00"));
    p.end = dt(rec::t("2026-12-31 23:59:59"));
    p.chnBit = channels;
    handle_ = rfs_find_start(&p, nullptr, 0);
    ASSERT_GE(handle_, 0);
}

const rec::EventTruth &PlaybackTest::record_one(int chn, const char *from, const char *to,
                                                const rec::RecordOptions &o) {
    recorder(false).record(chn, rec::t(from), rec::t(to), rec::kTimed, o);
    mount();
    return rec_->events().front();
}

RfsEvent PlaybackTest::listed(const rec::EventTruth &ev) {
    RfsEventList list{};
    EXPECT_EQ(rfs_get_event(uint32_t(handle_), ev.chn, &list), 0);
    uint32_t id = uint32_t(ev.partition) << 16 | uint32_t(ev.file_no - 1);
    for (int i = 0; i < list.count; ++i)
        if (list.list[i].record_id == id && list.list[i].event_id == ev.event_no - 1)
            return list.list[i];
    ADD_FAILURE() << "event " << ev.file_no << "/" << ev.event_no << " not listed";
    return {};
}

RfsEvent &PlaybackTest::search_copy(const RfsEvent &e) {
    return rfs::g_search[handle_].event_list[e.list_chn][e.sequence];
}

RfsEventKey PlaybackTest::key_of(const rec::EventTruth &ev) {
    RfsEventKey k{};
    k.event_no = uint32_t(ev.event_no - 1);
    k.file_no = uint16_t(ev.file_no - 1);
    k.partition = uint8_t(ev.partition);
    k.start = dt(ev.start);
    k.end = dt(ev.end);
    return k;
}

std::vector<uint8_t> PlaybackTest::read_to_end(int rd, int len) {
    std::vector<uint8_t> buf(static_cast<size_t>(len)), out;
    unsigned skip = 0;
    uint64_t deliveries = 0, reads_before = rfs_host::fault_counts().reads;
    for (int r; (r = rfs_read(rd, buf.data(), len, &skip, nullptr)) != 0; ++deliveries) {
        if (r < 0 || unsigned(r) < skip) {
            ADD_FAILURE() << "rfs_read gave " << r << " with head_skip " << skip;
            break;
        }
        out.insert(out.end(), buf.begin() + skip, buf.begin() + r);
    }
    // One storage call per delivery, none for the end.
    EXPECT_EQ(rfs_host::fault_counts().reads - reads_before, deliveries);
    return out;
}

std::vector<uint8_t> PlaybackTest::stored(const rec::EventTruth &ev, uint32_t offset,
                                          uint32_t length) {
    std::vector<uint8_t> s = rec_->stream(ev);
    size_t from = offset - ev.data_start;
    return {s.begin() + from, s.begin() + from + length};
}
