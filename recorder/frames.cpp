#include "frames.h"

#include <algorithm>
#include <cstring>

#include "records.h"

namespace rec {

bool FrameSchedule::is_key(uint32_t j, int key_interval) const {
  const int64_t jj = j;
  if (closing >= 0 && jj > closing) return false;  // the tail after the closing key frame
  return jj == closing || j % static_cast<uint32_t>(key_interval) == 0;
}

int64_t FrameSchedule::usec(uint32_t j, int fps) const {
  return origin_usec + static_cast<int64_t>(first_frame + j) * 1000000 / fps;
}

namespace {

uint64_t splitmix(uint64_t& state) {
  uint64_t z = (state += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

uint32_t pad8(uint32_t n) { return (n + 7) & ~7u; }

}  // namespace

// Payload bytes are windows into one block of noise made from the seed, so
// large recordings cost a copy per frame; the first eight bytes also carry
// the salt, which keeps every frame distinct.
void fill_payload(uint8_t* out, size_t len, uint64_t seed, uint64_t salt) {
  constexpr size_t kNoise = 1 << 20;
  static thread_local std::vector<uint8_t> noise;
  static thread_local uint64_t noise_seed = 0;
  if (noise.empty() || noise_seed != seed) {
    noise.resize(2 * kNoise);  // doubled, so a window never wraps
    uint64_t state = seed;
    for (size_t i = 0; i < kNoise; i += 8) {
      const uint64_t v = splitmix(state);
      std::memcpy(&noise[i], &v, 8);  // byte order is irrelevant for noise
    }
    std::memcpy(&noise[kNoise], &noise[0], kNoise);
    noise_seed = seed;
  }
  uint64_t mix = salt;
  const size_t start = static_cast<size_t>(splitmix(mix) % kNoise);
  for (size_t done = 0; done < len;) {
    const size_t n = std::min(len - done, kNoise);
    std::memcpy(out + done, &noise[start], n);
    done += n;
  }
  for (size_t i = 0; i < len && i < 8; ++i) out[i] ^= static_cast<uint8_t>(mix >> (8 * i));
}

StreamBuilder::StreamBuilder(const RecordOptions& o, uint16_t chn, uint64_t seed,
                             bool headers_only, uint32_t data_start)
    : opts_(o), chn_(chn), seed_(seed), headers_only_(headers_only), next_(data_start) {}

uint32_t StreamBuilder::frame_len(uint32_t payload) const {
  return static_cast<uint32_t>(kFrameHeaderSize) + (headers_only_ ? 0 : payload);
}

uint32_t StreamBuilder::key_cost() const {
  const bool ref_due = opts_.ref_every > 0 && keys_ % opts_.ref_every == 0;
  return frame_len(opts_.key_bytes) + (ref_due ? pad8(frame_len(opts_.ref_bytes)) : 0);
}

void StreamBuilder::add_frame(std::vector<uint8_t>& out, char type, int64_t usec,
                              uint32_t payload) {
  const uint32_t len = frame_len(payload);
  const size_t at = out.size();
  out.resize(at + len);
  encode_frame_header(out.data() + at, type, usec, len, chn_);
  const uint64_t salt = static_cast<uint64_t>(usec) * 131 + chn_ * 7 + static_cast<uint8_t>(type);
  fill_payload(out.data() + at + kFrameHeaderSize, len - kFrameHeaderSize, seed_, salt);
  next_ += len;
}

bool StreamBuilder::add(std::vector<uint8_t>& out, uint32_t /*j*/, int64_t usec, bool key,
                        KeyFrame& kf) {
  if (!key) {
    add_frame(out, 'P', usec, opts_.p_bytes);
    return false;
  }
  const bool with_ref = opts_.ref_every > 0;
  const bool ref_due = with_ref && keys_ % opts_.ref_every == 0;
  if (ref_due) {  // a new reference frame, stored padded to 8 bytes
    ref_offset_ = next_;
    ref_length_ = frame_len(opts_.ref_bytes);
    add_frame(out, 'V', usec, opts_.ref_bytes);
    const uint32_t pad = pad8(ref_length_) - ref_length_;
    out.resize(out.size() + pad);
    next_ += pad;
  }
  kf = KeyFrame{};
  kf.usec = usec;
  kf.time = unix_to_packed(usec / 1000000);
  kf.type = !with_ref ? 'I' : ref_due ? 'J' : 'K';
  kf.offset = next_;
  kf.length = frame_len(opts_.key_bytes);
  kf.ref_offset = with_ref ? ref_offset_ : kf.offset;
  kf.ref_length = with_ref ? ref_length_ : 0;
  add_frame(out, kf.type, usec, opts_.key_bytes);
  ++keys_;
  return true;
}

std::vector<uint8_t> rebuild_stream(const EventTruth& ev, uint64_t seed, bool headers_only) {
  const FrameSchedule s{ev.origin_usec, ev.first_frame, ev.closing_frame};
  StreamBuilder b(ev.opts, static_cast<uint16_t>(ev.chn), seed, headers_only, ev.data_start);
  std::vector<uint8_t> out;
  KeyFrame kf;
  for (uint32_t j = 0; j < ev.frame_count; ++j)
    b.add(out, j, s.usec(j, ev.opts.fps), s.is_key(j, ev.opts.key_interval), kf);
  return out;
}

std::array<uint8_t, 72> motion_cells(int chn, PackedTime t) {
  const int64_t s = packed_to_unix(t);
  const int col = static_cast<int>((s + chn * 5) % 24);
  const int row = static_cast<int>((s / 24 + chn * 3) % 24);
  std::array<uint8_t, 72> cells{};
  for (int cell : {row * 24 + col, row * 24 + (col + 1) % 24, (row + 1) % 24 * 24 + col})
    cells[cell / 8] |= static_cast<uint8_t>(1u << (cell % 8));
  return cells;
}

}  // namespace rec
