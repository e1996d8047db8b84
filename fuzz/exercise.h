// Drives the whole public interface over one disk, as a playback application
// and a forensic tool would: mount, every search type, every event found
// walked, sought, read and stepped key frame by key frame, pictures, labels,
// motion areas, the first key frame, the time range; then everything stopped
// and unmounted. The fuzz targets and the damaged-disk tests run it on disks
// that may hold anything: it must end without a crash, a hang or a leak.
#pragma once

#include <cstdint>

#include "rfs.h"

struct ExerciseLimits {
    int events = 12;          // events read per search
    int reads_per_event = 16; // rfs_read calls per seek
    int kframe_steps = 6;     // key-frame steps each way
    int pictures = 8;         // pictures read
};

struct ExerciseResult {
    int mount = 0;            // rfs_add_disk's result
    int events_found = 0;     // events listed by the per-channel search
    int events_read = 0;      // events a seek positioned on
    uint64_t bytes_read = 0;  // bytes rfs_read and the key-frame calls delivered
    int pictures = 0;         // pictures listed
    int labels = 0;           // labels listed
};

// Needs the storage operations installed and the storage mode set. Calls
// rfs_init first and rfs_exit last; the disk is mounted in slot 0.
ExerciseResult exercise_disk(const char *path, const ExerciseLimits &limits = {});

// Every channel the exercise mounts for, every record type, from `start` to `end`.
RfsSearchParam search_everything(uint8_t data_type, uint8_t search_type, RfsDateTime start, RfsDateTime end);
// The key that finds `ev` again by where its index entry lies.
RfsEventKey event_key(const RfsEvent &ev);
// Back to the state at load: no session, no disk, not initialised.
void reset_library();
