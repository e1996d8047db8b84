// Picture searches and picture reads against what the recorder wrote, on raw
// and NAS disks: time order, high channels, deleted pictures, the second disk
// group's copies, the 5000-picture cap, byte-exact reads and their errors.
#include "search_fixture.h"

namespace {

// A stored picture: disk, partition, file, channel, time, offset, length, status, pass.
using Pic = std::tuple<int, int, int, int, uint32_t, uint32_t, uint32_t, int, int>;
Pic pic_of(const RfsPic &p) {
    return {int(p.record_id >> 24), int(p.record_id >> 16 & 0xFF), int(p.record_id & 0xFFFF), p.pic_chn,
            rfs::pack_time(p.time), p.offset, p.pic_length, p.status, p.pass};
}
Pic pic_of(int disk, const rec::PictureTruth &t, int pass) {
    return {disk, t.partition, t.file_no - 1, t.chn, t.time, t.offset, t.length, t.opts.status, pass};
}

} // namespace

class PictureTest : public SearchTest, public ::testing::WithParamInterface<bool> {
  protected:
    // Disk "a" in group 0 and disk "b" in group 32 hold the same first three
    // pictures; b has one more.
    void SetUp() override {
        SearchTest::SetUp();
        for (const char *name : {"a", "b"}) {
            rec::DiskShape s;
            s.nas = GetParam();
            s.files_per_partition = 4;
            std::vector<rec::PictureTruth> &t = truth_[name];
            std::vector<std::vector<uint8_t>> &bytes = bytes_[name];
            make_disk(s, [&](rec::Recorder &r) {
                auto snap = [&](int chn, const char *when, uint32_t n, rec::PictureOptions o = {}) {
                    t.push_back(r.snapshot(chn, at(when), n, o));
                    bytes.push_back(r.picture_bytes(t.back()));
                };
                snap(3, "2026-03-05 10:00:00", 5000);
                snap(70, "2026-03-05 10:00:00", 300, {.extra_word = 7, .extra_byte = 8, .extra_half = 9});
                snap(100, "2026-03-05 09:00:00", 4096, {.status = 2});
                if (name[0] == 'a') snap(5, "2026-03-06 08:00:00", 10, {.type_mask = rec::kAlarm});
                else snap(3, "2026-03-05 11:00:00", 20);
            }, name);
        }
        rfs_set_nas_mode(GetParam());
        mount(0, "b", 1, 0); // group 32: its copies of a's pictures are dropped
        mount(1, "a");
    }
    RfsSearchParam pictures(uint8_t *channels = nullptr) {
        RfsSearchParam p = range("2026-03-05 00:00:00", "2026-03-06 23:59:59");
        p.data_type = 1;
        p.chnCnt = 128;
        if (channels) p.chnBit = channels;
        return p;
    }
    std::vector<Pic> found(RfsSearchParam &&p) { return found(p); }
    std::vector<Pic> found(RfsSearchParam &p) {
        int h = rfs_find_start(&p, nullptr, 0);
        EXPECT_GE(h, 0);
        RfsPicList l{};
        EXPECT_EQ(rfs_get_pic(h, 0, &l), 0);
        std::vector<Pic> out;
        for (int i = 0; i < l.count; ++i) {
            EXPECT_EQ(std::make_tuple(l.list[i].sequence, l.list[i].handle), std::make_tuple(uint32_t(i), uint8_t(h)));
            out.push_back(pic_of(l.list[i]));
        }
        rfs_find_stop(uint32_t(h));
        return out;
    }

    std::map<std::string, std::vector<rec::PictureTruth>> truth_;
    std::map<std::string, std::vector<std::vector<uint8_t>>> bytes_;
};
INSTANTIATE_TEST_SUITE_P(RawAndNas, PictureTest, ::testing::Bool());

TEST_P(PictureTest, ListsInTimeOrderWithoutTheSecondGroupsCopies) {
    const auto &a = truth_["a"], &b = truth_["b"];
    static uint8_t chn_70[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0x40};
    EXPECT_EQ(found(pictures()), (std::vector<Pic>{pic_of(1, a[2], 0), pic_of(1, a[0], 0), pic_of(1, a[1], 0), pic_of(0, b[3], 1), pic_of(1, a[3], 0)}));
    EXPECT_EQ(found(pictures(chn_70)), std::vector<Pic>{pic_of(1, a[1], 0)});
    RfsSearchParam p = pictures();
    p.chnCnt = 64; // channels 70 and 100 lie beyond the bitmap
    EXPECT_EQ(found(p), (std::vector<Pic>{pic_of(1, a[0], 0), pic_of(0, b[3], 1), pic_of(1, a[3], 0)}));
    p = pictures();
    p.record_type = rec::kAlarm;
    EXPECT_EQ(found(p), std::vector<Pic>{pic_of(1, a[3], 0)});
    EXPECT_EQ(p.search_type, 2); // examining pictures makes the request a merged one
    // Fields carried as stored.
    int h = search(pictures(chn_70));
    RfsPicList l{};
    ASSERT_TRUE(rfs_get_pic(h, 0, &l) == 0 && l.count == 1);
    const RfsPic &q = l.list[0];
    EXPECT_EQ(std::make_tuple(q.type_lo, q.type_hi, q.extra_word, q.extra_byte, q.extra_half, q.table_index, q.state),
              std::make_tuple(uint32_t(rec::kManual), 0u, 7u, uint8_t(8), uint16_t(9), uint16_t(2), uint8_t(0)));
}

// Each picture read whole through one read session, from its 4 KB-aligned
// position; a buffer one block too small gets nothing. Then the refusals.
TEST_P(PictureTest, ReadsEveryPictureByteForByteAndRefusesBadRecords) {
    int h = search(pictures());
    RfsPicList l{};
    ASSERT_EQ(rfs_get_pic(h, 0, &l), 0);
    int rd = rfs_read_start(0);
    std::vector<uint8_t> buf(16384);
    for (int i = 0; i < l.count; ++i) {
        const RfsPic &p = l.list[i];
        SCOPED_TRACE(i);
        const std::string disk = p.record_id >> 24 ? "a" : "b";
        size_t k = std::find_if(truth_[disk].begin(), truth_[disk].end(),
                                [&](const rec::PictureTruth &t) { return t.offset == p.offset; }) - truth_[disk].begin();
        unsigned skip = 99;
        int n = rfs_read_pic(rd, &p, buf.data(), int(buf.size()), &skip);
        ASSERT_EQ(n, int((p.pic_length + (p.offset & 4095) + 4095) / 4096 * 4096));
        EXPECT_EQ(skip, p.offset & 4095);
        EXPECT_TRUE(std::equal(buf.begin() + skip, buf.begin() + skip + p.pic_length, bytes_[disk][k].begin()));
        EXPECT_EQ(rfs_read_pic(rd, &p, buf.data(), n - 4096, &skip), 0);
    }
    EXPECT_TRUE(log_.contains("pic length is too long!"));
    RfsEventList events{};
    int event_session = search(day("2026-03-05"), &events);
    int idle = rfs_read_start(0);
    rfs_read_stop(idle);
    unsigned skip = 0;
    auto read = [&](int session, RfsPic p) { return [=, &buf, &skip] { return rfs_read_pic(session, &p, buf.data(), 8192, &skip); }; };
    RfsPic p = l.list[1], beyond = p, gone = p, covered = l.list[2], far = p, bad_handle = p, no_session = p;
    beyond.sequence = uint32_t(l.count); // one past the list
    gone.record_id = 9u << 24;
    far.offset = 0x10000000 - 100;       // the record runs off its data file
    bad_handle.handle = 65;
    no_session.handle = 64;
    rfs::g_search[h].pic_list[0][2].state = 1;
    expect_codes({
        {"get: event session", [&] { return rfs_get_pic(event_session, 0, &l); }, RFS_ERR_SEARCH_HANDLE, "handle isn't exist"},
        {"read: session", read(64, p), RFS_ERR_SEARCH_HANDLE, "rd is invalid"},
        {"read: unclaimed session", read(idle, p), RFS_ERR_HANDLE, "not use"},
        {"read: buffer", [&] { return rfs_read_pic(rd, &p, nullptr, 8192, &skip); }, RFS_ERR_NO_MEMORY, "buf is NULL"},
        {"read: handle", read(rd, bad_handle), RFS_ERR_SEARCH_HANDLE, "65 handle out of range"},
        {"read: handle 64", read(rd, no_session), RFS_ERR_HANDLE, "64 handle isn't exist"},
        {"read: position", read(rd, beyond), RFS_ERR_POSITION, "the event is not in memory"},
        {"read: covered", read(rd, covered), RFS_ERR_COVERED},
        {"read: disk", read(rd, gone), RFS_ERR_NO_DISK},
        {"read: off its file", read(rd, far), RFS_ERR_DATA_READ, "pic out of data file"},
    });
}

// More than 10000 matching pictures leave the 5000 oldest, in order; a file
// record counting more pictures than its file can hold is read only as far
// as the file goes.
TEST_F(SearchTest, PictureListKeepsTheOldestFiveThousand) {
    constexpr int kPictures = 12000;
    const Disk &d = make_disk(rec::DiskShape{}, [](rec::Recorder &r) {
        for (int i = kPictures - 1; i >= 0; --i) r.snapshot(i % 8, rec::add_seconds(at("2026-03-05 00:00:00"), i), 1);
    }, "big");
    poke(tmp_.file("big"), d.geometry.part_base[0] + d.geometry.file_table_off + 6, 0xFFFF, 2);
    mount(0, "big");
    RfsSearchParam p = day("2026-03-05", 3);
    p.data_type = 1;
    int h = search(p);
    ASSERT_GE(h, 0);
    RfsPicList l{};
    ASSERT_EQ(rfs_get_pic(h, 0, &l), 0);
    ASSERT_EQ(l.count, 5000);
    for (int i = 0; i < l.count; ++i)
        ASSERT_EQ(rfs::pack_time(l.list[i].time), rec::add_seconds(at("2026-03-05 00:00:00"), i)) << i;
    EXPECT_TRUE(log_.contains("pic table out of file0, index_pos=" + std::to_string(0x10000000 - 48 * kPictures)));
}
