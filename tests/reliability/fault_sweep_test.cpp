// Every storage call an operation makes, failed or cut short once, each in a
// fresh state: the operation ends in one of its listed codes, writes nothing
// outside the index (nothing at all when it only reads), delivers no byte
// that is not on the disk, and a clean mount afterwards finds every event.
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include "hostile.h"

namespace {

using rfs_host::FaultAction;
using rfs_host::FaultOp;

struct Ctx {
    const SampleDisk *disk = nullptr;
    int handle = -1, pictures = -1, rd = -1;
    RfsEvent ev{};                 // channel 0's first event: reference frames, motion
    std::vector<uint8_t> got;      // what the reads delivered, head_skip removed
    std::vector<Listed> listed;    // what the event search listed
    std::string answer;            // what a calendar, timeline, picture or label search answered
    std::vector<uint8_t> buf = std::vector<uint8_t>(256 * 1024);
};
using Step = std::function<int(Ctx &)>;

int mount(Ctx &c) { return rfs_add_disk(0, c.disk->path.c_str(), 0, 0, nullptr); }

int search(Ctx &c) {
    RfsSearchParam p = whole_year(0, 3);
    RfsEventList l{};
    if ((c.handle = rfs_find_start(&p, nullptr, 0)) < 0) return c.handle;
    if (rfs_get_event(uint32_t(c.handle), 0, &l) == 0 && l.count) c.ev = l.list[0];
    c.listed = listed_events(uint32_t(c.handle));
    return c.handle;
}

int seek(Ctx &c) {
    if (c.rd < 0) c.rd = rfs_read_start(0);
    return rfs_tseek(c.rd, &c.ev.start, 1, 0, &c.ev, 1);
}

// Reads the event in 4 KiB deliveries into a buffer scribbled over before
// each, so that a read cut short cannot pass for the event's bytes.
int read_all(Ctx &c) {
    unsigned skip = 0;
    int r = 0;
    for (int i = 0; i < 1000; ++i) {
        std::fill(c.buf.begin(), c.buf.end(), 0xA5);
        if ((r = rfs_read(c.rd, c.buf.data(), 4096, &skip, nullptr)) <= 0) break;
        c.got.insert(c.got.end(), c.buf.begin() + skip, c.buf.begin() + r);
    }
    return r;
}

// Key-frame steps until one fails: 1 the next, -1 the previous, 0 the current.
int kframe_steps(Ctx &c, std::initializer_list<int> steps) {
    unsigned skip = 0;
    RfsDateTime t{};
    int len = int(c.buf.size()), r = 0;
    for (auto step = steps.begin(); step != steps.end() && r >= 0; ++step)
        r = *step > 0 ? rfs_get_next_kframe(c.rd, c.buf.data(), len, &skip, 1, &t)
            : *step < 0 ? rfs_get_prev_kframe(c.rd, c.buf.data(), len, &skip, 1, &t)
                        : rfs_get_current_kframe(c.rd, c.buf.data(), len, &skip, &t);
    return r;
}

// A seek onto the oldest key frame of an index block of channel 0's first
// event, so that a step to an older frame leaves the cached block.
int seek_block_edge(Ctx &c) {
    const std::vector<rec::KeyFrame> &kf = c.disk->recorder->events().front().kframes;
    size_t i = 1;
    while (i < kf.size() && kf[i].entry_pos / 4096 == kf[i - 1].entry_pos / 4096) ++i;
    if (i == kf.size()) return -1;
    rec::TimeFields f = rec::unpack_time(kf[i].time);
    RfsDateTime at{0, uint8_t(f.second), uint8_t(f.minute), uint8_t(f.hour), uint8_t(f.day), uint8_t(f.month),
                   uint16_t(f.year - 2000)};
    c.rd = rfs_read_start(0);
    return rfs_tseek(c.rd, &at, 1, 0, &c.ev, 0);
}

int find(Ctx &, uint8_t data_type, uint8_t search_type, void *out) {
    RfsSearchParam p = whole_year(data_type, search_type);
    return rfs_find_start(&p, out, 0);
}

template <typename T> void note(std::string &answer, const T &v) {
    answer.append(reinterpret_cast<const char *>(&v), sizeof v);
}

// A month calendar of the sample's month (records, pictures or labels).
int calendar(Ctx &c, uint8_t data_type) {
    RfsMonthResult month;
    RfsSearchParam p = whole_year(data_type, 0);
    p.start.month = 3;
    int r = rfs_find_start(&p, &month, 0);
    note(c.answer, month);
    return r;
}

int timeline(Ctx &c) {
    RfsDaySlots slots{};
    int r = find(c, 0, 1, &slots);
    note(c.answer, slots);
    return r;
}

int picture_search(Ctx &c) {
    RfsEventList unused{};
    RfsPicList l{};
    if ((c.pictures = find(c, 1, 2, &unused)) < 0 || rfs_get_pic(c.pictures, 0, &l) != 0) return c.pictures;
    for (int i = 0; i < l.count; ++i) {
        note(c.answer, l.list[i].record_id);
        note(c.answer, l.list[i].offset);
        note(c.answer, l.list[i].pic_length);
    }
    return c.pictures;
}

int label_search(Ctx &c, const char *keyword) {
    RfsSearchParam p = whole_year(2, 3);
    int r = rfs_find_label_start(&p, keyword);
    for (int chn = 0; chn < kChannels; ++chn) {
        RfsLabelList l{};
        rfs_get_label(chn, &l);
        for (int i = 0; i < l.count; ++i) c.answer += std::to_string(l.list[i].chn) + l.list[i].text + ";";
    }
    return r;
}

// Motion records of every cell: of channel 0's first event, or of its day.
int motion(Ctx &c, bool of_day) {
    uint8_t mask[72];
    std::fill(std::begin(mask), std::end(mask), 0xFF);
    MoareaResult m{};
    int r = of_day ? rfs_read_moarea_oneday(c.handle, 0, mask, 1, &m) : rfs_read_moarea(mask, &c.ev, 1, &m);
    rfs_read_moarea_stop(&m);
    return r;
}

struct SweepCase {
    const char *name;
    SampleKind disk;
    std::vector<Step> before; // done without faults
    Step op;
    std::vector<int> codes;   // the failures it may report; any result >= 0 is success
    bool writes = false;      // may write the index (recovery, repair); else nothing at all
    bool lists = false;       // a search that, when it succeeds, lists every event
    bool exact = false;       // when it succeeds, it answers as without faults
};

// The operations and the codes they list for a failed or short storage call.
std::vector<SweepCase> sweep_cases() {
    static RfsEventList merged;
    return {
        {"mount raw", SampleKind::raw, {}, mount, {-1, -12}, true},
        {"mount NAS", SampleKind::nas, {}, mount, {-1, -12}, true},
        {"mount with repair", SampleKind::power_cut, {}, mount, {-1, -12}, true},
        {"event search", SampleKind::raw, {mount}, search, {-12, -13, -14}, true, true},
        {"event search NAS", SampleKind::nas, {mount}, search, {-12, -13, -14}, true, true},
        {"calendar", SampleKind::raw, {mount}, [](Ctx &c) { return calendar(c, 0); }, {-12, -13, -14}, true, false, true},
        // A picture-month block that cannot be read is skipped: the calendar
        // succeeds without its days.
        {"picture calendar", SampleKind::raw, {mount}, [](Ctx &c) { return calendar(c, 1); }, {-12, -13, -14}, true},
        {"label calendar", SampleKind::raw, {mount}, [](Ctx &c) { return calendar(c, 2); }, {-1}, false, false, true},
        {"label calendar NAS", SampleKind::nas, {mount}, [](Ctx &c) { return calendar(c, 2); }, {-1}, false, false, true},
        {"timeline", SampleKind::raw, {mount}, timeline, {-12, -13, -14}, true, false, true},
        {"picture search", SampleKind::raw, {mount}, picture_search, {-12, -13, -14}, true, false, true},
        {"label search", SampleKind::raw, {mount}, [](Ctx &c) { return label_search(c, ""); }, {-1}, false, false, true},
        {"label search by keyword NAS", SampleKind::nas, {mount}, [](Ctx &c) { return label_search(c, "door"); }, {-1},
         false, false, true},
        {"seek", SampleKind::raw, {mount, search}, seek, {-13, -15}},
        {"seek NAS", SampleKind::nas, {mount, search}, seek, {-13, -15, -35}},
        {"seek by key", SampleKind::raw, {mount, search},
         [](Ctx &c) {
             RfsEventKey key = event_key(c.ev);
             return rfs_tseek_for_index(c.rd = rfs_read_start(0), &c.ev.start, 1, 0, &key);
         },
         {-13, -14, -15}, true},
        // A media read that fails with EIO reports an unstable disk (-35) in
        // either storage mode.
        {"read", SampleKind::raw, {mount, search, seek}, read_all, {-15, -16, -35}},
        {"read NAS", SampleKind::nas, {mount, search, seek}, read_all, {-15, -16, -35}},
        {"key-frame steps", SampleKind::raw, {mount, search, seek}, [](Ctx &c) { return kframe_steps(c, {1, 1, 1, -1, -1, -1, 0}); }, {-1, -15, -16, -35}},
        {"key-frame steps across blocks", SampleKind::raw, {mount, search, seek_block_edge},
         [](Ctx &c) { return kframe_steps(c, {-1, -1, 1, 1, 1, -1}); },
         {-1, -15, -16, -35}},
        {"motion read", SampleKind::raw, {mount, search}, [](Ctx &c) { return motion(c, false); }, {-13, -31}},
        {"motion of a day", SampleKind::raw, {mount, search}, [](Ctx &c) { return motion(c, true); }, {-12}},
        {"channel presence", SampleKind::raw, {mount},
         [](Ctx &) {
             uint8_t channels[kChannels / 8] = {};
             RfsSearchParam p = whole_year(0, 3);
             return rfs_is_chn_have_record(channels, p.start, p.end);
         },
         {-12, -13, -14}, true},
        {"first key frame", SampleKind::raw, {mount},
         [](Ctx &) {
             void *frame = nullptr;
             int len = 0;
             int r = rfs_get_first_iframe(0, RfsDateTime{0, 0, 0, 10, 1, 3, 26}, RfsDateTime{0, 0, 1, 10, 1, 3, 26},
                                          &frame, &len);
             std::free(frame);
             return r;
         },
         {-1}, true},
        {"picture read", SampleKind::raw, {mount, [](Ctx &c) { return c.pictures = find(c, 1, 2, &merged); }},
         [](Ctx &c) {
             RfsPicList l{};
             if (rfs_get_pic(c.pictures, 0, &l) != 0 || l.count == 0) return -1;
             unsigned skip = 0;
             return rfs_read_pic(c.rd = rfs_read_start(0), &l.list[0], c.buf.data(), int(c.buf.size()), &skip);
         },
         {-13, -15}},
    };
}

constexpr int kNotReached = INT_MIN; // a step before the operation failed

// Runs the case in a fresh state with `rule` (none: a clean run).
int run(const SweepCase &sc, Ctx &c, const rfs_host::FaultRule *rule) {
    const SampleDisk &disk = sample_disk(sc.disk);
    start(disk, disk.files);
    rfs_init(kChannels, 1);
    c = Ctx{};
    c.disk = &disk;
    for (const Step &step : sc.before)
        if (step(c) < 0) return kNotReached;
    rfs_host::fault_reset_counts();
    if (rule) rfs_host::fault_add(*rule);
    int r = sc.op(c);
    rfs_host::fault_clear_rules();
    return r;
}

// What a clean mount of the disk as it is now lists.
std::vector<Listed> remount(const SampleDisk &disk) {
    rfs_host::MemoryFiles now = rfs_host::memory_files();
    start(disk, now);
    rfs_init(kChannels, 1);
    EXPECT_EQ(rfs_add_disk(0, disk.path.c_str(), 0, 0, nullptr), 0);
    return listed_events();
}

void check_run(const SweepCase &sc, const Ctx &c, int r, const std::vector<Listed> &clean, const std::string &answer) {
    const SampleDisk &disk = *c.disk;
    EXPECT_TRUE(r >= 0 || std::count(sc.codes.begin(), sc.codes.end(), r)) << "result " << r;
    expect_writes_in_index(disk, block_layout(disk), disk.files, sc.writes);
    std::vector<uint8_t> stored = disk.recorder->stream(disk.recorder->events().front());
    EXPECT_TRUE(c.got.size() <= stored.size() && std::equal(c.got.begin(), c.got.end(), stored.begin()))
        << "delivered bytes that are not the event's";
    EXPECT_TRUE(!sc.exact || r < 0 || c.answer == answer) << "a search that succeeded answered otherwise";
    EXPECT_TRUE(!sc.lists || r < 0 || c.listed == clean) << "a search that succeeded did not list every event";
    EXPECT_TRUE(!sc.writes || remount(disk) == clean) << "a clean mount afterwards lost events";
}

TEST(FaultSweep, EveryStorageCallFailedOrShortenedOnce) {
    for (const SweepCase &sc : sweep_cases()) {
        SCOPED_TRACE(sc.name);
        Ctx c;
        int r = run(sc, c, nullptr);
        rfs_host::FaultCounts counts = rfs_host::fault_counts();
        if (r == kNotReached || counts.opens + counts.reads + counts.writes == 0) {
            std::printf("%s: no storage call in this build\n", sc.name);
            continue;
        }
        ASSERT_GE(r, 0) << "the operation fails without faults";
        const std::string answer = c.answer;
        std::vector<Listed> clean = remount(*c.disk);
        // Reads fail or come back short; writes fail, move nothing, or tear.
        const std::pair<FaultOp, std::vector<FaultAction>> kinds[] = {
            {FaultOp::open, {FaultAction::fail}},
            {FaultOp::read, {FaultAction::fail, FaultAction::tear}},
            {FaultOp::write, {FaultAction::fail, FaultAction::shorten, FaultAction::tear}},
        };
        int runs = 0;
        for (const auto &[op, actions] : kinds) {
            uint64_t n = op == FaultOp::open ? counts.opens : op == FaultOp::read ? counts.reads : counts.writes;
            for (uint64_t k = 1; k <= n; ++k) {
                for (FaultAction action : actions) {
                    rfs_host::FaultRule rule;
                    rule.op = op;
                    rule.action = action;
                    rule.call = k;
                    SCOPED_TRACE(testing::Message() << "call " << k << " of op " << int(op) << ", action "
                                                    << int(rule.action));
                    check_run(sc, c, run(sc, c, &rule), clean, answer);
                    ++runs;
                }
            }
        }
        std::printf("%s: %llu opens, %llu reads, %llu writes; %d faulty runs\n", sc.name,
                    (unsigned long long)counts.opens, (unsigned long long)counts.reads,
                    (unsigned long long)counts.writes, runs);
    }
    reset_library();
}

} // namespace
