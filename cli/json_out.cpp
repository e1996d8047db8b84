#include "json_out.h"

#include "console.h"
#include "disk_layout.h"
#include "selection.h"
#include "time_text.h"

namespace cli {

rfs_json::Writer stdout_json() {
    return rfs_json::Writer([](std::string_view text) { write_out(text); });
}

void write_time_members(rfs_json::Writer &w, uint32_t start, uint32_t end) {
    for (auto [name, t] : {std::pair{"start", start}, std::pair{"end", end}}) {
        w.key(name);
        t ? w.value(packed_time_text(t)) : w.null();
    }
}

void write_event(rfs_json::Writer &w, const RfsEvent &ev, bool repaired) {
    w.begin_object()
        .field("channel", ev.chn)
        .field("start", time_text(ev.start))
        .field("end", time_text(ev.end))
        .field("types", type_names(ev.record_type))
        .field("type_mask", ev.record_type)
        .field("size", ev.data_size)
        .field("disk", ev.record_id >> 24)
        .field("partition", ev.record_id >> 16 & 0xFF)
        .field("file", ev.record_id & 0xFFFF)
        .field("event", ev.event_id)
        .field("covered", ev.covered != 0)
        .field("flagged", ev.status2 != 0)
        .field("skipped", ev.skip_flag == 1)
        .field("repaired", repaired)
        .end_object();
}

void write_partitions(rfs_json::Writer &w, const DiskView &view) {
    w.begin_array();
    for (const PartitionView &p : view.partitions) {
        w.begin_object()
            .field("partition", p.index)
            .field("readable", p.readable)
            .field("state", p.state)
            .field("repair_flag", p.repair_flag)
            .field("files", p.file_nr)
            .field("free_files", p.free_file_nr);
        w.key("records").begin_object();
        write_time_members(w, p.record_start, p.record_end);
        w.end_object().key("pictures").begin_object();
        write_time_members(w, p.picture_start, p.picture_end);
        w.end_object().end_object();
    }
    w.end_array();
}

} // namespace cli
