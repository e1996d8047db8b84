// Label searches: the labels of the mounted disks by channel, time and
// keyword, into one list per channel slot of g_label_list that the host reads
// in place until the next search or rfs_find_label_stop.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "disk/label_area.h"
#include "disk/registry.h"
#include "frame/alloc.h"
#include "frame/buffer.h"
#include "frame/log.h"
#include "frame/state.h"
#include "frame/time.h"
#include "search/scan.h"

namespace rfs {

namespace {

constexpr int32_t kLabelListStep = 50;
constexpr size_t kHostTextSize = sizeof(RfsLabel::text);

void free_label_lists() {
    for (int c = 0; g_label_list && c < max_rec_chn; ++c) {
        std::free(g_label_list[c].list);
        g_label_list[c] = LabelListEntry{};
    }
}

// The text as stored, up to its NUL or the end of its field.
std::string_view label_text(const uint8_t *r) {
    const char *text = reinterpret_cast<const char *>(label_record::text(r));
    return {text, strnlen(text, label_record::kTextSize)};
}

// The host's text field holds 40 bytes: a text of 40 or more characters
// arrives without its tail and without a terminator.
void fill_label(RfsLabel &out, const uint8_t *r) {
    namespace lr = label_record;
    out = RfsLabel{};
    out.chn = lr::chn(r);
    out.extra_half = lr::extra_half(r);
    unpack_time(lr::time(r), &out.time);
    std::string_view text = label_text(r);
    std::memcpy(out.text, text.data(), std::min(text.size(), kHostTextSize));
    out.extra_word1 = lr::extra_word1(r);
    out.extra_word2 = lr::extra_word2(r);
}

void sort_labels(LabelListEntry &e) {
    std::stable_sort(e.list, e.list + e.count, [](const RfsLabel &a, const RfsLabel &b) {
        PackedTime ta = pack_time(a.time), tb = pack_time(b.time);
        return ta != tb ? ta < tb : a.chn < b.chn;
    });
}

class LabelSearch final : public LabelHalfVisitor {
  public:
    LabelSearch(const RfsSearchParam &p, const char *keyword, int32_t *capacity)
        : p_(p), keyword_(keyword ? keyword : ""), start_(pack_time(p.start)),
          end_(pack_time(p.end)), merged_(p.search_type == 2), capacity_(capacity) {}

    bool wanted(const LabelHead &head, int half) override {
        PackedTime s = head.earliest(half), e = head.latest(half);
        return s <= e && start_ <= end_ && s <= end_ && start_ <= e;
    }
    int on_half(const disk_info_t &, const uint8_t *records) override;
    void open_failed(const disk_info_t &) override { rfs_log("open hdd failed\n"); }

  private:
    bool taken(const uint8_t *r) const;
    int add(int slot, const uint8_t *r);

    const RfsSearchParam &p_;
    std::string_view keyword_;
    PackedTime start_, end_;
    bool merged_;
    int32_t *capacity_; // per channel slot
};

// Any state but deleted counts, 0 included.
bool LabelSearch::taken(const uint8_t *r) const {
    namespace lr = label_record;
    PackedTime t = lr::time(r);
    if (lr::state(r) == lr::kStateDeleted || !channel_selected(p_, lr::chn(r))) return false;
    if (t < start_ || t > end_) return false;
    return keyword_.empty() || label_text(r).find(keyword_) != std::string_view::npos;
}

int LabelSearch::add(int slot, const uint8_t *r) {
    LabelListEntry &e = g_label_list[slot];
    int32_t &cap = capacity_[slot];
    if (e.count == 0 || e.count >= uint32_t(cap)) {
        if (e.count != 0) cap += kLabelListStep;
        void *grown = rfs_realloc(e.list, size_t(cap) * sizeof(RfsLabel));
        if (!grown) {
            rfs_log(e.count == 0 ? "malloc failed\n" : "realloc failed\n");
            return -1;
        }
        e.list = static_cast<RfsLabel *>(grown);
    }
    fill_label(e.list[e.count++], r);
    return 0;
}

int LabelSearch::on_half(const disk_info_t &, const uint8_t *records) {
    for (uint32_t i = 0; i < kLabelsPerHalf; ++i) {
        const uint8_t *r = records + size_t(i) * label_record::kSize;
        if (!taken(r)) continue;
        int slot = merged_ ? 0 : label_record::chn(r);
        // A host may select more channels than the library was started
        // with; those have no list to go into.
        if (slot >= max_rec_chn) {
            rfs_log("label chn %d out of range\n", slot);
            continue;
        }
        if (int rc = add(slot, r)) return rc;
    }
    return 0;
}

int search_labels(const RfsSearchParam &p, const char *keyword) {
    free_label_lists();
    MallocBuffer capacity(size_t(max_rec_chn) * sizeof(int32_t));
    if (!capacity) {
        rfs_log("malloc failed\n");
        return -1;
    }
    auto *caps = reinterpret_cast<int32_t *>(capacity.data());
    std::fill(caps, caps + max_rec_chn, kLabelListStep);
    LabelSearch search(p, keyword, caps);
    if (visit_label_halves(search) != 0) return -1; // the lists so far stay
    for (int c = 0; c < max_rec_chn; ++c)
        if (g_label_list[c].count > 1) sort_labels(g_label_list[c]);
    return 0;
}

} // namespace

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_find_label_start(const RfsSearchParam *p, const char *keyword) noexcept {
    if (!g_label_list) {
        rfs_log("rfs system is not init!!!\n");
        return -1;
    }
    if (!p || !p->chnBit) {
        rfs_log("chnbit error\n");
        return -1;
    }
    return search_labels(*p, keyword) == 0 ? 0 : -1;
}

extern "C" RFS_API int rfs_get_label(int chn, RfsLabelList *out) noexcept {
    if (!g_label_list || chn < 0 || chn >= max_rec_chn || !out) {
        rfs_log("chn error\n");
        return -1;
    }
    out->list = g_label_list[chn].list;
    out->count = int32_t(g_label_list[chn].count);
    return 0;
}

extern "C" RFS_API int rfs_find_label_stop(void) noexcept {
    free_label_lists();
    return 0;
}
