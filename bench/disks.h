// The disks the benchmarks read, made by the recorder simulator in
// headers-only mode (frames keep their 40-byte headers, every index and
// record is complete), once per run, in a temporary folder removed at exit.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "recorder.h"

namespace bench {

// A recorder's life at one size: `channels` channels recording around the
// clock, `per_day` events a day each, from `first_day` for `days` days.
// Record files close after 256 events or at a month's end, so the number of
// data files is about channels * days * per_day / 256.
struct Scale {
    const char *name;
    int channels;
    int days;
    int per_day;
    int duration; // seconds of each event
    int files;    // data-file slots formatted (room to spare)
};

// About 100, 1,000 and 10,000 data files.
const std::vector<Scale> &all_scales();
const Scale *find_scale(const std::string &name);

constexpr int kFirstDay = 0; // the recordings start on kStart
extern const rec::PackedTime kStart;

struct Disk {
    std::string path; // real path: raw image or NAS folder
    bool nas = false;
    rec::Geometry geometry;
    int data_files = 0;   // files the recorder used
    int64_t events = 0;   // events it stored
};

// The scale's disk of the given kind, made on first use.
const Disk &scale_disk(const Scale &s, bool nas);

// The smallest scale's recording, ended by a power cut: every channel's last
// event was being written (its key frames on the disk), so the partition is
// repaired when it is mounted.
const Disk &power_cut_disk(bool nas);

// One channel with three events of 100, 1,000 and 10,000 key frames (a key
// frame a second, all 'I'), then one of 2,000 key frames where every key
// frame follows its own reference frame in the same 4 KiB block.
struct SeekDisk {
    Disk disk;
    std::vector<rec::EventTruth> events; // in that order
};
const SeekDisk &seek_disk();

// A disk with full frames for streaming: one channel, one event of about
// 64 MiB (25 fps, a key frame every 2 s, a reference frame every fifth).
const SeekDisk &media_disk();

// The folder everything is made in.
const std::string &work_dir();

} // namespace bench
