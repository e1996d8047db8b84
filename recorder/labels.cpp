// Labels: a 32-byte head ("LabH") and two halves of 16384 records of 64
// bytes from 0x400 of the label area. The recorder fills the records in
// order, half 0 first, and keeps an "Lend" record right after the last one.
#include <stdexcept>

#include "geometry.h"
#include "writer.h"

namespace rec {

namespace {
constexpr uint32_t kLabelRecords = 0x100000 / kLabelRecordSize;  // per half
constexpr uint32_t kLabelFirstRecord = 0x400;
}  // namespace

const LabelTruth& Writer::label(int chn, PackedTime time, const std::string& text,
                                const LabelOptions& o) {
  check_open();
  check_chn(chn);
  if (!shape_.labels) throw std::logic_error("the disk has no label area");
  if (labels_.size() + 1 >= 2 * kLabelRecords) throw std::runtime_error("the label area is full");
  LabelTruth& l = labels_.emplace_back();
  l.chn = chn;
  l.time = time;
  l.text = text.substr(0, 42);
  l.record_no = static_cast<int>(labels_.size()) - 1;
  l.opts = o;
  return l;
}

// The head's per-half ranges cover the valid labels (state 1) of each half.
void Writer::write_labels() {
  const size_t n = labels_.size();
  std::vector<uint8_t> area(kLabelFirstRecord + kLabelRecordSize * (n + 1));
  LabelHeadFields head;
  head.presence = n > 0 ? 1 : 0;
  head.end_record = static_cast<uint32_t>(n);
  for (const LabelTruth& l : labels_) {
    encode_label(area.data() + kLabelFirstRecord + kLabelRecordSize * l.record_no, l);
    if (l.opts.state != 1) continue;
    const size_t half = l.record_no / kLabelRecords;
    if (head.first[half] == 0 || l.time < head.first[half]) head.first[half] = l.time;
    if (l.time > head.last[half]) head.last[half] = l.time;
  }
  encode_lend(area.data() + kLabelFirstRecord + kLabelRecordSize * n);
  encode_label_head(head, area.data());
  out_->write_sparse(Loc{Area::Labels, 0, 0}, 0, area.data(), area.size());
}

}  // namespace rec
