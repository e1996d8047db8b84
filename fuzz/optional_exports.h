// Exports declared in rfs.h whose code may not be in this build yet. Their
// references are weak: a caller tests RFS_HAS(fn) and skips the call while
// the library does not define it, and calls it as soon as the code lands.
// (Linking the library's objects directly, not its archive, lets a weak
// reference find a definition that nothing else pulls in.)
#pragma once

#include "rfs.h"

#pragma weak rfs_get_first_iframe
#pragma weak rfs_get_pic
#pragma weak rfs_read_pic
#pragma weak rfs_find_label_start
#pragma weak rfs_get_label
#pragma weak rfs_find_label_stop
#pragma weak rfs_read_moarea_oneday
#pragma weak rfs_read_moarea
#pragma weak rfs_read_moarea_stop
#pragma weak rfs_get_start_end_time
#pragma weak get_disk_time
#pragma weak rfs_is_chn_have_record
#pragma weak rfs_get_repair_record_time

#define RFS_HAS(fn) (&(fn) != nullptr)
