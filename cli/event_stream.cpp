#include "event_stream.h"

#include <vector>

#include "errors.h"
#include "time_text.h"

namespace cli {

namespace {

// Media reads are whole 4 KB blocks, so the buffer is a multiple of 4096; key
// frames must fit in it whole.
constexpr int kBufferSize = 4 << 20;

class ReadSession {
  public:
    explicit ReadSession(int chn) : rd_(rfs_read_start(chn)) {
        if (rd_ < 0) throw ToolError("no read session: " + error_text(rd_));
    }
    ~ReadSession() { rfs_read_stop(rd_); }
    ReadSession(const ReadSession &) = delete;
    ReadSession &operator=(const ReadSession &) = delete;
    int rd() const { return rd_; }

  private:
    int rd_;
};

std::string event_name(const RfsEvent &ev) {
    return "channel " + std::to_string(ev.chn) + " event " + time_text(ev.start) + " .. " + time_text(ev.end);
}

void seek(int rd, const RfsEvent &ev, const RfsDateTime &at) {
    // Mode 1 takes the key frame at or before the time; before the event's
    // first key frame there is none, and mode 0 takes that first one.
    int rc = rfs_tseek(rd, &at, 1, 0, &ev, 0);
    if (rc == RFS_ERR_FAILED) rc = rfs_tseek(rd, &at, 0, 0, &ev, 0);
    if (rc != 0) throw ToolError("seek to " + time_text(at) + " failed on " + event_name(ev) + ": " + error_text(rc));
}

// One delivery: the wanted bytes start head_skip bytes into the buffer.
void deliver(int n, unsigned head_skip, const uint8_t *buf, StreamResult &result, const StreamSink &sink) {
    if (head_skip > unsigned(n)) throw ToolError("the library reported a lead-in longer than its delivery");
    if (result.bytes == 0) rfs_frame_time(buf + head_skip, int(unsigned(n) - head_skip), &result.first_frame);
    sink(buf + head_skip, size_t(n) - head_skip);
    result.bytes += size_t(n) - head_skip;
}

void read_all(int rd, const RfsEvent &ev, StreamResult &result, const StreamSink &sink) {
    std::vector<uint8_t> buf(kBufferSize);
    for (;;) {
        unsigned head_skip = 0;
        RfsDateTime frame_time{};
        int n = rfs_read(rd, buf.data(), kBufferSize, &head_skip, &frame_time);
        if (n == 0) return;
        if (n < 0) throw ToolError("read failed on " + event_name(ev) + ": " + error_text(n));
        deliver(n, head_skip, buf.data(), result, sink);
    }
}

void read_key_frames(int rd, const RfsEvent &ev, StreamResult &result, const StreamSink &sink) {
    std::vector<uint8_t> buf(kBufferSize);
    for (bool first = true;; first = false) {
        unsigned head_skip = 0;
        RfsDateTime frame_time{};
        // A key frame that needs a reference frame comes in two calls: the
        // reference frame (with its time set) and then the key frame.
        int n = first ? rfs_get_current_kframe(rd, buf.data(), kBufferSize, &head_skip, &frame_time)
                      : rfs_get_next_kframe(rd, buf.data(), kBufferSize, &head_skip, 1, &frame_time);
        if (n == 0) return;
        if (n < 0) throw ToolError("key-frame read failed on " + event_name(ev) + ": " + error_text(n));
        deliver(n, head_skip, buf.data(), result, sink);
        if (packed(frame_time) == 0) ++result.key_frames;
    }
}

} // namespace

StreamResult stream_event(const RfsEvent &ev, const RfsDateTime &at, StreamKind kind, const StreamSink &sink) {
    ReadSession session(ev.chn);
    seek(session.rd(), ev, at);
    StreamResult result;
    if (kind == StreamKind::All)
        read_all(session.rd(), ev, result, sink);
    else
        read_key_frames(session.rd(), ev, result, sink);
    return result;
}

} // namespace cli
