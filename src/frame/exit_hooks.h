// The one call rfs_exit makes above the library frame: what the mounts left
// for the host to read back lives beside the disk slots, in record repair.
#pragma once

namespace rfs {

// Frees the repair reports of every disk slot.
void exit_release_repair_reports();

} // namespace rfs
