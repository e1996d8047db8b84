// The second pass's coverage test and the list order, each against the
// plain algorithm it replaces, on lists in any order with any times: sorted
// recordings, lists with many equal and zero times, and wild times that
// wrap the signed key difference.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <tuple>
#include <vector>

#include "frame/alloc.h"
#include "frame/sort.h"
#include "frame/time.h"
#include "search/cover_index.h"
#include "search/event_order.h"

using namespace rfs;

namespace {

// The walk over the first n records, as the collection made it per event.
bool covered_by_walk(PackedTime s0, PackedTime e0, const RfsEvent *list, int32_t n, uint16_t chn) {
    PackedTime lo = 0, hi = 0;
    for (int32_t i = 0; i < n; ++i) {
        if (list[i].chn != chn) continue;
        PackedTime st = event_start(list[i]), en = event_end(list[i]);
        if (lo <= st && st <= hi) {
            hi = std::max(hi, en);
        } else if (s0 < st && e0 > hi) {
            return false;
        } else {
            lo = st;
            hi = en;
        }
        if (e0 <= hi) return true;
    }
    return false;
}

RfsEvent event(PackedTime start, PackedTime end, uint16_t chn, uint16_t id) {
    RfsEvent e{};
    unpack_time(start, &e.start);
    unpack_time(end, &e.end);
    e.chn = chn;
    e.event_id = id;
    return e;
}

const uint16_t kChannels[] = {0, 1, 7, 65535};

// Kind 0: recordings in time order, overlapping now and then; kind 1: a few
// distinct times, zero among them; kind 2: any 32-bit times; kind 3: starts
// each in order after the one before by the wrapping difference, all around
// the 32-bit circle.
std::vector<RfsEvent> make_list(std::mt19937 &rng, int kind, int n) {
    std::vector<RfsEvent> list;
    PackedTime at = 0x68000000;
    for (int i = 0; i < n; ++i) {
        uint16_t chn = kChannels[rng() % 4];
        PackedTime s, e;
        if (kind == 0) {
            at += rng() % 200;
            s = at - rng() % 50;
            e = s + rng() % 300;
        } else if (kind == 1) {
            s = (rng() % 6) * 10;
            e = s + (rng() % 3) * 10;
        } else if (kind == 2) {
            s = PackedTime(rng());
            e = rng() % 4 ? s + rng() % 1000 : PackedTime(rng());
        } else {
            at += PackedTime(rng() % 0x30000000);
            s = at;
            e = s + rng() % 1000;
        }
        list.push_back(event(s, e, chn, uint16_t(i)));
    }
    return list;
}

} // namespace

TEST(Order, CoverageIndexAnswersAsTheWalk) {
    std::mt19937 rng(7);
    int covered = 0, asked = 0;
    for (int round = 0; round < 300; ++round) {
        std::vector<RfsEvent> list = make_list(rng, round % 3, int(rng() % 120));
        const int32_t n = int32_t(list.size()) - int32_t(rng() % 4 == 0 ? list.size() / 3 : 0);
        CoverIndex index;
        ASSERT_TRUE(index.build(list.data(), n));
        // Events at, around and between the listed times, and anywhere.
        std::vector<PackedTime> times = {0, 1, 0xFFFFFFFFu};
        for (const RfsEvent &e : list)
            for (PackedTime t : {event_start(e), event_end(e)}) times.insert(times.end(), {t - 1, t, t + 1});
        for (int q = 0; q < 200; ++q) {
            PackedTime a = rng() % 8 ? times[rng() % times.size()] : PackedTime(rng());
            PackedTime b = rng() % 8 ? times[rng() % times.size()] : PackedTime(rng());
            if (a > b && rng() % 4) std::swap(a, b);
            uint16_t chn = kChannels[rng() % 4];
            bool walk = covered_by_walk(a, b, list.data(), n, chn);
            ASSERT_EQ(index.covered(a, b, chn), walk)
                << "round " << round << " s0 " << a << " e0 " << b << " chn " << chn;
            covered += walk;
            ++asked;
        }
    }
    EXPECT_GT(covered, asked / 10); // both answers came up often
    EXPECT_LT(covered, asked * 9 / 10);
}

// The list order against the record sort it replaces: with times that are
// no strict order (kinds 2 and 3) only the same sort gives the same order;
// with a strict order every stable sort agrees. Without scratch the record
// sort works in place: every record stays, in order where the order is strict.
TEST(Order, ListOrderAsTheRecordSortLeavesIt) {
    std::mt19937 rng(11);
    auto less = [](const RfsEvent &a, const RfsEvent &b) { return compare_events(a, b) < 0; };
    auto same = [](const std::vector<RfsEvent> &a, const std::vector<RfsEvent> &b) {
        return a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(RfsEvent)) == 0;
    };
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        std::vector<RfsEvent> list = make_list(rng, round % 4, int(rng() % 400));
        if (round % 8 == 1) // already in order
            std::stable_sort(list.begin(), list.end(), [](const RfsEvent &a, const RfsEvent &b) {
                return std::tuple(event_start(a), a.chn) < std::tuple(event_start(b), b.chn);
            });
        std::vector<RfsEvent> expected = list, in_place = list;
        sort_records(expected.data(), expected.size(), less);
        for (size_t i = 0; i < expected.size(); ++i) expected[i].sequence = uint32_t(i);
        sort_event_list(list.data(), int32_t(list.size()));
        ASSERT_TRUE(same(list, expected));
        set_alloc_failure(0);
        sort_records(in_place.data(), in_place.size(), less);
        set_alloc_failure(-1);
        if (round % 4 < 2) { // a strict order
            std::stable_sort(expected.begin(), expected.end(), less);
            ASSERT_TRUE(same(list, expected));
            ASSERT_TRUE(std::is_sorted(in_place.begin(), in_place.end(), less));
        }
        auto ids = [](std::vector<RfsEvent> l) {
            std::vector<uint16_t> v;
            for (const RfsEvent &e : l) v.push_back(e.event_id);
            std::sort(v.begin(), v.end());
            return v;
        };
        ASSERT_EQ(ids(in_place), ids(list));
    }
}
