// Shows a disk, in the copy-on-write overlay, as one of its index copies
// holds it, so the library mounts that copy with its described behaviour and
// nothing reaches the disk.
//
// The disk parameter block (raw: of the image; NAS: of index file k, which
// may be intact where index0's is damaged) is rewritten in memory with every
// partition's index flags set to all four copies and a fresh check sum, and
// written to every index file of a NAS disk. For k > 0, reads of copy 0's
// index area of every partition are redirected to copy k's, so the primary
// copy the library selects shows copy k. Needs write-through off.
#pragma once

#include <string>

namespace rfs_host {

// "" on success, else why the view could not be made.
std::string overlay_show_index_copy(const std::string &alias, bool nas, int k);

} // namespace rfs_host
