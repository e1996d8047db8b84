#include "scenario.h"

#include <stdexcept>

#include "json_reader.h"

namespace rec {

using rfs_json::Value;

namespace {

[[noreturn]] void bad(const std::string& what) {
  throw std::invalid_argument("scenario: " + what);
}

template <typename T>
T get(const Value& j) {
  if constexpr (std::is_same_v<T, std::vector<uint8_t>>) {
    std::vector<uint8_t> bytes;
    for (const Value& e : j.items()) bytes.push_back(e.get<uint8_t>());
    return bytes;
  } else if constexpr (std::is_same_v<T, std::string>) {
    return j.str();
  } else {
    return j.get<T>();
  }
}

template <typename T>
void take(const Value& j, const char* key, T& into) {
  if (const Value* v = j.find(key)) into = get<T>(*v);
}

template <typename T>
T value_or(const Value& j, const char* key, T fallback) {
  const Value* v = j.find(key);
  return v ? get<T>(*v) : fallback;
}

uint64_t type_of(const Value& j) {
  if (j.is_unsigned()) return j.get<uint64_t>();
  if (j.is_array()) {
    uint64_t mask = 0;
    for (const Value& e : j.items()) mask |= type_of(e);
    return mask;
  }
  const std::string& name = j.str();
  if (name == "timed") return kTimed;
  if (name == "motion") return kMotion;
  if (name == "alarm") return kAlarm;
  if (name == "manual") return kManual;
  bad("unknown record type " + name);
}

uint32_t file_size_of(const Value& j) {
  if (j.is_unsigned()) return j.get<uint32_t>();
  const std::string& s = j.str();
  if (s == "256M") return kFile256M;
  if (s == "512M") return kFile512M;
  if (s == "1G") return kFile1G;
  bad("unknown data_file_size " + s);
}

DiskShape disk_of(const Value& j) {
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

RecordOptions options_of(const Value& j, RecordOptions o) {
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

PackedTime time_of(const Value& j, const char* key) { return parse_time(j.at(key).str()); }

int int_of(const Value& j, const char* key) { return j.at(key).get<int>(); }

Cut cut_of(const std::string& s) {
  if (s == "key_frames_written") return Cut::KeyFramesWritten;
  if (s == "no_key_frame") return Cut::NoKeyFrameYet;
  if (s == "event_closed") return Cut::EventClosed;
  if (s == "wrong_event_no") return Cut::WrongEventNo;
  bad("unknown cut " + s);
}

void schedule(Recorder& r, const Value& s, const RecordOptions& o) {
  const int channels = value_or(s, "channels", 1), first = value_or(s, "first_chn", 0);
  const int days = value_or(s, "days", 1), per_day = value_or(s, "events_per_day", 1);
  const int duration = value_or(s, "duration", 60);
  const uint64_t type = s.contains("type") ? type_of(s.at("type")) : kTimed;
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

PictureOptions picture_of(const Value& s) {
  PictureOptions p;
  if (s.contains("type")) p.type_mask = type_of(s.at("type"));
  take(s, "status", p.status);
  take(s, "extra_word", p.extra_word);
  take(s, "extra_byte", p.extra_byte);
  take(s, "extra_half", p.extra_half);
  return p;
}

LabelOptions label_of(const Value& s) {
  LabelOptions l;
  take(s, "state", l.state);
  take(s, "extra_word1", l.extra_word1);
  take(s, "extra_word2", l.extra_word2);
  take(s, "extra_half", l.extra_half);
  return l;
}

void run_step(Recorder& r, const Value& s, const RecordOptions& defaults) {
  const std::string& op = s.at("op").str();
  const RecordOptions o = options_of(s, defaults);
  if (op == "record")
    r.record(int_of(s, "chn"), time_of(s, "start"), time_of(s, "end"), type_of(s.at("type")), o);
  else if (op == "schedule")
    schedule(r, s, o);
  else if (op == "snapshot")
    r.snapshot(int_of(s, "chn"), time_of(s, "time"), s.at("bytes").get<uint32_t>(), picture_of(s));
  else if (op == "label")
    r.label(int_of(s, "chn"), time_of(s, "time"), s.at("text").str(), label_of(s));
  else if (op == "interrupt")
    r.record_interrupted(int_of(s, "chn"), time_of(s, "start"), time_of(s, "until"),
                         type_of(s.at("type")), o, cut_of(s.at("cut").str()));
  else if (op == "use_partition")
    r.use_partition(int_of(s, "partition"));
  else if (op == "disk_state")
    r.set_disk_state(s.at("state").get<uint8_t>());
  else if (op == "partition_state")
    r.set_partition_state(int_of(s, "partition"), s.at("state").get<uint8_t>());
  else if (op == "repair_flag")
    r.set_repair_flag(int_of(s, "partition"), s.at("on").boolean());
  else if (op == "damage_index")
    r.damage_index_copy(int_of(s, "partition"), int_of(s, "copy"), s.at("offset").get<uint32_t>(),
                        get<std::vector<uint8_t>>(s.at("bytes")));
  else
    bad("unknown op " + op);
}

}  // namespace

std::unique_ptr<Recorder> run_scenario(const std::string& json_text, const std::string& out_path,
                                       std::optional<bool> nas) {
  try {
    const Value doc = Value::parse(json_text);
    static const Value kNone = Value::parse("{}");
    const Value* disk = doc.find("disk");
    DiskShape shape = disk_of(disk ? *disk : kNone);
    if (nas) shape.nas = *nas;
    const Value* defaults = doc.find("defaults");
    const RecordOptions options = options_of(defaults ? *defaults : kNone, {});
    auto r = std::make_unique<Recorder>(shape, out_path);
    if (const Value* steps = doc.find("steps"))
      for (const Value& step : steps->items()) run_step(*r, step, options);
    const std::string end = value_or<std::string>(doc, "end", "finish");
    if (end == "finish")
      r->finish();
    else if (end == "power_loss")
      r->power_loss();
    else
      bad("unknown end " + end);
    return r;
  } catch (const rfs_json::Error& e) {
    bad(e.what());
  }
}

}  // namespace rec
