// rfs mkdisk: writes the disk a recorder scenario (JSON) describes.
#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

#include "args.h"
#include "commands.h"
#include "console.h"
#include "errors.h"
#include "safe_output.h"
#include "scenario.h"

namespace cli {

namespace {

const char kUsage[] =
    "usage: rfs mkdisk SCENARIO.json OUT.img [--force]\n"
    "       rfs mkdisk SCENARIO.json --nas DIR [--force]\n"
    "\n"
    "Runs a recorder scenario with the recorder simulator and writes the disk:\n"
    "a sparse raw image, or a NAS folder (index0..3, file%d, label0).\n"
    "Ready scenarios live in recorder/scenarios/.\n"
    "\n"
    "  --nas DIR   write a NAS folder instead of a raw image (a NAS disk has one\n"
    "              partition: recorder/scenarios/nas.json is one)\n"
    "  --force     replace an existing image, or write into a folder that is not empty\n";

std::string read_text(const std::string &path) {
    std::ifstream in(path);
    if (!in) throw ToolError("cannot read " + path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// The recorder writes its disk from scratch: an existing image, or a folder
// that holds anything, is replaced only with --force (never a device or,
// for an image, a folder).
void refuse_to_overwrite(const std::string &target, bool nas, bool force) {
    if (!nas) {
        check_output_target(target, {}, force);
        return;
    }
    std::error_code ec;
    if (std::filesystem::exists(target, ec) && !std::filesystem::is_directory(target, ec))
        throw RefusedOutput("refusing to write '" + target + "': it is not a folder");
    if (!force && std::filesystem::is_directory(target, ec) && !std::filesystem::is_empty(target, ec))
        throw RefusedOutput("refusing to write '" + target + "': the folder is not empty (--force writes into it)");
}

} // namespace

int run_mkdisk(const std::vector<std::string> &words) {
    Args args(words, {{"--nas", true}, {"--force"}});
    if (args.help()) return show_usage(kUsage);
    const auto &pos = args.positional();
    bool nas = args.has("--nas");
    if (pos.size() != (nas ? 1u : 2u)) throw UsageError("give a scenario and either OUT.img or --nas DIR");
    const std::string target = nas ? args.value("--nas") : pos[1];
    refuse_to_overwrite(target, nas, args.has("--force"));
    const std::string scenario = read_text(pos[0]);
    auto started = std::chrono::steady_clock::now();
    std::unique_ptr<rec::Recorder> r;
    try {
        r = rec::run_scenario(scenario, target, nas ? std::optional<bool>(true) : std::nullopt);
    } catch (const std::invalid_argument &e) {
        throw ToolError(pos[0] + ": " + e.what());
    }
    double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started).count();
    print_out("%s: %s with %zu events, %zu pictures, %zu labels (%.0f ms)\n", target.c_str(),
            std::filesystem::is_directory(target) ? "NAS folder" : "raw image", r->events().size(), r->pictures().size(),
            r->labels().size(), ms);
    return 0;
}

} // namespace cli
