// rfs mkdisk: placeholder until the recorder's scenario reader lands.
#include "commands.h"
#include "errors.h"

namespace cli {

int run_mkdisk(const std::vector<std::string> &) { throw ToolError("mkdisk is not available yet"); }

} // namespace cli
