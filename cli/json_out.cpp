#include "json_out.h"

#include "console.h"
#include "disk_layout.h"
#include "selection.h"
#include "time_text.h"

namespace cli {

namespace {

nlohmann::json time_range(uint32_t start, uint32_t end) {
    auto text = [](uint32_t t) { return t ? nlohmann::json(packed_time_text(t)) : nlohmann::json(nullptr); };
    return {{"start", text(start)}, {"end", text(end)}};
}

} // namespace

nlohmann::json event_json(const RfsEvent &ev) {
    return {{"channel", ev.chn},
            {"start", time_text(ev.start)},
            {"end", time_text(ev.end)},
            {"types", type_names(ev.record_type)},
            {"type_mask", ev.record_type},
            {"size", ev.data_size},
            {"disk", ev.record_id >> 24},
            {"partition", ev.record_id >> 16 & 0xFF},
            {"file", ev.record_id & 0xFFFF},
            {"event", ev.event_id},
            {"covered", ev.covered != 0},
            {"flagged", ev.status2 != 0}};
}

nlohmann::json partitions_json(const DiskView &view) {
    nlohmann::json parts = nlohmann::json::array();
    for (const PartitionView &p : view.partitions)
        parts.push_back({{"partition", p.index},
                         {"readable", p.readable},
                         {"state", p.state},
                         {"repair_flag", p.repair_flag},
                         {"files", p.file_nr},
                         {"free_files", p.free_file_nr},
                         {"records", time_range(p.record_start, p.record_end)},
                         {"pictures", time_range(p.picture_start, p.picture_end)}});
    return parts;
}

void print_json(const nlohmann::json &doc) { fprintf(out(), "%s\n", doc.dump(2).c_str()); }

} // namespace cli
