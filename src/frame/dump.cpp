// Diagnostic dumps printed to standard output.
#include <cstdint>

#include "frame/log.h"
#include "frame/record_id.h"

namespace rfs {

namespace {
void print_channel_bytes(const RfsSearchParam *p) {
    if (p->chnCnt > 1000) {
        rfs_print("chn:count big to 1000, not show\n");
        return;
    }
    int bytes = (p->chnCnt + 7) / 8;
    if (bytes <= 0) return;
    for (int i = 0; i < bytes && p->chnBit; ++i)
        rfs_print("%x,", int(static_cast<signed char>(p->chnBit[i]))); // sign-widened on purpose
    rfs_print("\n");
}

void print_integrated_types(const RfsSearchParam *p) {
    rfs_print("integratedRecType(%d):", int(p->integratedRecTypeCount));
    for (uint32_t i = 0; i < p->integratedRecTypeCount && p->integratedRecType; ++i) {
        uint64_t v = p->integratedRecType[i];
        // The entry line shows the low word and then, as a character, the low
        // byte of the high word; the separator is never shown. Long-standing
        // output that scripts already parse, so it stays.
        rfs_print("[%d]%#x%c ", int(i), unsigned(uint32_t(v)), int(uint32_t(v >> 32)));
    }
    rfs_print("\n");
}
} // namespace

void dump_search_param(const RfsSearchParam *p) {
    if (!p) return;
    const RfsDateTime &s = p->start, &e = p->end;
    rfs_print("data_type:%d, search_type:%d, record_type:%#llx, "
              "time:(%d/%d/%d %d:%d:%d)-(%d/%d/%d %d:%d:%d), ",
              p->data_type, p->search_type, (unsigned long long)p->record_type, s.year, s.month,
              s.day, s.hour, s.minute, s.second, e.year, e.month, e.day, e.hour, e.minute,
              e.second);
    rfs_print("chnCnt:%d, chnBit:0x. ", p->chnCnt);
    print_channel_bytes(p);
    print_integrated_types(p);
}

void dump_pic_record(const RfsPic *pic, int level) {
    if (!pic || level >= 2) return;
    RecordId id = unpack_record_id(pic->record_id);
    const RfsDateTime &t = pic->time;
    rfs_print("(%d/%d/%d)time=(%.2d/%.2d/%.2d-%.2d:%.2d:%.2d) pic_chn:%d pic_length:%d offset:%d\n",
              id.disk, id.partition, id.file, t.year, t.month, t.day, t.hour, t.minute, t.second,
              pic->pic_chn, int(pic->pic_length), int(pic->offset));
}

} // namespace rfs
