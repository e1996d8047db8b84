// The picture search: one sorted list of the stored pictures that match a
// request, in list slot 0 of a picture session.
#pragma once

#include <cstdint>

#include "rfs.h"

namespace rfs {

// rfs_get_pic hands out at most this many pictures of a list.
constexpr int32_t kPicListKeep = 5000;

// Collects the pictures that match `param` from the picture files of every
// mounted disk into session `handle`, disks of groups 0..31 first; a picture
// found again on a disk of groups 32..63 is dropped. Sets param->search_type
// to 2 (the list is merged) once a picture record has been examined.
// 0 (also when a partition has no usable index copy), -12, -13 or -14.
int search_pictures(uint32_t handle, RfsSearchParam *param);

} // namespace rfs
