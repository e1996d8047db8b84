// A recorder-made disk mounted in slot 0, and read sessions on its events.
// After mounting, one search over the whole year lists every event of every
// channel; read sessions take their events from that session's lists.
#pragma once

#include <memory>

#include "search/search_fixture.h"

inline bool same_time(const RfsDateTime &a, const RfsDateTime &b) { return std::memcmp(&a, &b, 8) == 0; }

class PlaybackTest : public SearchTest {
  protected:
    PlaybackTest() { channels_ = 16; }

    // Starts a disk; record on it and then call mount().
    rec::Recorder &recorder(bool nas) {
        nas_ = nas;
        path_ = tmp_.file(nas ? "nas" : "disk.img");
        rec::DiskShape shape;
        shape.nas = nas;
        shape.files_per_partition = 4;
        rec_ = std::make_unique<rec::Recorder>(shape, path_);
        return *rec_;
    }
    void mount() {
        rec_->finish();
        rfs_set_nas_mode(nas_ ? 1 : 0);
        ASSERT_EQ(rfs_add_disk(0, rfs_host::alias_disk(path_).c_str(), 0, 0, nullptr), 0);
        handle_ = search(range("2026-01-01 00:00:00", "2026-12-31 23:59:59"));
        ASSERT_GE(handle_, 0);
    }
    // One recording of channel chn on a fresh raw disk, mounted; its first event.
    const rec::EventTruth &record_one(int chn, const char *from, const char *to, const rec::RecordOptions &o = {}) {
        recorder(false).record(chn, rec::t(from), rec::t(to), rec::kTimed, o);
        mount();
        return rec_->events().front();
    }
    // The search's record of an event (the host's copy).
    RfsEvent listed(const rec::EventTruth &ev) {
        RfsEventList list{};
        EXPECT_EQ(rfs_get_event(uint32_t(handle_), ev.chn, &list), 0);
        uint32_t id = uint32_t(ev.partition) << 16 | uint32_t(ev.file_no - 1);
        for (int i = 0; i < list.count; ++i)
            if (list.list[i].record_id == id && list.list[i].event_id == ev.event_no - 1) return list.list[i];
        ADD_FAILURE() << "event " << ev.file_no << "/" << ev.event_no << " not listed";
        return {};
    }
    static RfsEventKey key_of(const rec::EventTruth &ev) {
        RfsEventKey k{};
        k.event_no = uint32_t(ev.event_no - 1);
        k.file_no = uint16_t(ev.file_no - 1);
        k.partition = uint8_t(ev.partition);
        k.start = dt(ev.start);
        k.end = dt(ev.end);
        return k;
    }

    // Reads until the end of the event; the bytes the library marked as the
    // event's (after head_skip of each delivery), one storage call each.
    std::vector<uint8_t> read_to_end(int rd, int len) {
        std::vector<uint8_t> out;
        uint64_t deliveries = 0, reads_before = rfs_host::fault_counts().reads;
        for (int r; (r = rfs_read(rd, buf_.data(), len, &skip_, nullptr)) != 0; ++deliveries) {
            if (r < 0 || unsigned(r) < skip_) {
                ADD_FAILURE() << "rfs_read gave " << r << " with head_skip " << skip_;
                break;
            }
            out.insert(out.end(), buf_.begin() + skip_, buf_.begin() + r);
        }
        EXPECT_EQ(rfs_host::fault_counts().reads - reads_before, deliveries);
        return out;
    }
    // The bytes the last delivery of n bytes marked as the event's.
    std::vector<uint8_t> delivered(int n) const { return {buf_.begin() + skip_, buf_.begin() + n}; }
    // The stored bytes [offset, offset + length) of an event's data file.
    std::vector<uint8_t> stored(const rec::EventTruth &ev, uint32_t offset, uint32_t length) {
        std::vector<uint8_t> s = rec_->stream(ev);
        return {s.begin() + (offset - ev.data_start), s.begin() + (offset - ev.data_start + length)};
    }

    bool nas_ = false;
    std::string path_;
    std::unique_ptr<rec::Recorder> rec_;
    int handle_ = -1;
    std::vector<uint8_t> buf_ = std::vector<uint8_t>(65536);
    unsigned skip_ = 0;
    RfsDateTime ft_{};
};
