#include "scenario.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

namespace rec {

using nlohmann::json;

namespace {

[[noreturn]] void bad(const std::string& what) {
  throw std::invalid_argument("scenario: " + what);
}

template <typename T>
void take(const json& j, const char* key, T& into) {
  if (j.contains(key)) into = j.at(key).get<T>();
}

uint64_t type_of(const json& j) {
  if (j.is_number_unsigned()) return j.get<uint64_t>();
  if (j.is_array()) {
    uint64_t mask = 0;
    for (const json& e : j) mask |= type_of(e);
    return mask;
  }
  const std::string name = j.get<std::string>();
  if (name == "timed") return kTimed;
  if (name == "motion") return kMotion;
  if (name == "alarm") return kAlarm;
  if (name == "manual") return kManual;
  bad("unknown record type " + name);
}

uint32_t file_size_of(const json& j) {
  if (j.is_number_unsigned()) return j.get<uint32_t>();
  const std::string s = j.get<std::string>();
  if (s == "256M") return kFile256M;
  if (s == "512M") return kFile512M;
  if (s == "1G") return kFile1G;
  bad("unknown data_file_size " + s);
}

DiskShape disk_of(const json& j) {
  DiskShape d;
  if (j.contains("data_file_size")) d.data_file_size = file_size_of(j.at("data_file_size"));
  take(j, "partitions", d.partitions);
  take(j, "files_per_partition", d.files_per_partition);
  take(j, "nas", d.nas);
  take(j, "labels", d.labels);
  take(j, "headers_only", d.headers_only);
  take(j, "keep_truth", d.keep_truth);
  take(j, "seed", d.seed);
  take(j, "index_flags", d.index_flags);
  take(j, "fs_type", d.fs_type);
  take(j, "switch_a", d.switch_a);
  take(j, "switch_b", d.switch_b);
  return d;
}

RecordOptions options_of(const json& j, RecordOptions o) {
  take(j, "fps", o.fps);
  take(j, "key_interval", o.key_interval);
  take(j, "key_bytes", o.key_bytes);
  take(j, "p_bytes", o.p_bytes);
  take(j, "ref_bytes", o.ref_bytes);
  take(j, "ref_every", o.ref_every);
  take(j, "motion_step", o.motion_step);
  take(j, "tail_frames", o.tail_frames);
  take(j, "skip_flag", o.skip_flag);
  take(j, "stored_byte_a", o.stored_byte_a);
  take(j, "stored_byte_b", o.stored_byte_b);
  return o;
}

PackedTime time_of(const json& j, const char* key) { return parse_time(j.at(key).get<std::string>()); }

Cut cut_of(const std::string& s) {
  if (s == "key_frames_written") return Cut::KeyFramesWritten;
  if (s == "no_key_frame") return Cut::NoKeyFrameYet;
  if (s == "event_closed") return Cut::EventClosed;
  if (s == "wrong_event_no") return Cut::WrongEventNo;
  bad("unknown cut " + s);
}

void schedule(Recorder& r, const json& s, const RecordOptions& o) {
  const int channels = s.value("channels", 1), first = s.value("first_chn", 0);
  const int days = s.value("days", 1), per_day = s.value("events_per_day", 1);
  const int duration = s.value("duration", 60);
  const uint64_t type = type_of(s.value("type", json("timed")));
  if (channels < 1 || days < 1 || per_day < 1 || duration < 0) bad("bad schedule");
  const int64_t spacing = 86400 / per_day;
  const PackedTime day0 = time_of(s, "start");
  for (int d = 0; d < days; ++d)
    for (int i = 0; i < per_day; ++i)
      for (int c = 0; c < channels; ++c) {
        const PackedTime start = add_seconds(day0, d * 86400 + i * spacing + c * 7);
        r.record(first + c, start, add_seconds(start, duration), type, o);
      }
}

PictureOptions picture_of(const json& s) {
  PictureOptions p;
  if (s.contains("type")) p.type_mask = type_of(s.at("type"));
  take(s, "status", p.status);
  take(s, "extra_word", p.extra_word);
  take(s, "extra_byte", p.extra_byte);
  take(s, "extra_half", p.extra_half);
  return p;
}

LabelOptions label_of(const json& s) {
  LabelOptions l;
  take(s, "state", l.state);
  take(s, "extra_word1", l.extra_word1);
  take(s, "extra_word2", l.extra_word2);
  take(s, "extra_half", l.extra_half);
  return l;
}

void run_step(Recorder& r, const json& s, const RecordOptions& defaults) {
  const std::string op = s.at("op").get<std::string>();
  const RecordOptions o = options_of(s, defaults);
  if (op == "record")
    r.record(s.at("chn"), time_of(s, "start"), time_of(s, "end"), type_of(s.at("type")), o);
  else if (op == "schedule")
    schedule(r, s, o);
  else if (op == "snapshot")
    r.snapshot(s.at("chn"), time_of(s, "time"), s.at("bytes"), picture_of(s));
  else if (op == "label")
    r.label(s.at("chn"), time_of(s, "time"), s.at("text"), label_of(s));
  else if (op == "interrupt")
    r.record_interrupted(s.at("chn"), time_of(s, "start"), time_of(s, "until"),
                         type_of(s.at("type")), o, cut_of(s.at("cut")));
  else if (op == "use_partition")
    r.use_partition(s.at("partition"));
  else if (op == "disk_state")
    r.set_disk_state(s.at("state"));
  else if (op == "partition_state")
    r.set_partition_state(s.at("partition"), s.at("state"));
  else if (op == "repair_flag")
    r.set_repair_flag(s.at("partition"), s.at("on"));
  else if (op == "damage_index")
    r.damage_index_copy(s.at("partition"), s.at("copy"), s.at("offset"),
                        s.at("bytes").get<std::vector<uint8_t>>());
  else
    bad("unknown op " + op);
}

}  // namespace

std::unique_ptr<Recorder> run_scenario(const std::string& json_text, const std::string& out_path,
                                       std::optional<bool> nas) {
  try {
    const json doc = json::parse(json_text);
    DiskShape shape = disk_of(doc.value("disk", json::object()));
    if (nas) shape.nas = *nas;
    const RecordOptions defaults = options_of(doc.value("defaults", json::object()), {});
    auto r = std::make_unique<Recorder>(shape, out_path);
    for (const json& step : doc.value("steps", json::array())) run_step(*r, step, defaults);
    const std::string end = doc.value("end", "finish");
    if (end == "finish")
      r->finish();
    else if (end == "power_loss")
      r->power_loss();
    else
      bad("unknown end " + end);
    return r;
  } catch (const json::exception& e) {
    bad(e.what());
  }
}

}  // namespace rec
