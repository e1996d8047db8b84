// Short names for disk paths.
//
// The library keeps only 63 characters of a disk path and composes names such
// as "<path>/file12" and "<path>/index3" in 64- and 68-byte buffers, and it
// takes a path shorter than five characters for a dropped disk. So the host
// names every disk by a short alias ("/rfs/d0", "/rfs/d1", ...) and the storage
// layers map it back in open:
//   "/rfs/d0"        -> the real image or directory path
//   "/rfs/d0/file12" -> "<real directory>/file12"
// Users and tests may then name disks by paths of any length.
#pragma once

#include <string>

namespace rfs_host {

// The alias of a real disk path, created on first use. The same real path
// (after making it absolute and dropping "." / ".." parts and a trailing '/')
// always gets the same alias.
std::string alias_disk(const std::string &real_path);

// The real path behind an alias or a name under one; any other path unchanged.
std::string resolve_alias(const std::string &path);

// Forgets every alias (the next alias_disk starts again at "/rfs/d0").
void clear_aliases();

} // namespace rfs_host
