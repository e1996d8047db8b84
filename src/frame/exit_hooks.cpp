#include "frame/exit_hooks.h"

#include "repair/repair_report.h"

namespace rfs {

void exit_release_repair_reports() { repair_report_clear_all(); }

} // namespace rfs
