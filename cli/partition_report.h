// Problems a mounted disk shows: an image shorter than its parameter block
// says, a partition the library could not use (and which index copy may
// still hold it), a secondary index copy that disagrees with the primary.
// Each goes to problems() as one line.
#pragma once

#include <string>

namespace cli {

void report_short_image(int id, const std::string &path);
void report_partitions(int id, const std::string &path);

} // namespace cli
