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

// A NAS disk is written into its folder: a folder that holds anything is
// written into only with --force. (An image goes through OutputFile.)
void refuse_to_overwrite_folder(const std::string &target, bool force) {
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
    const bool force = args.has("--force");
    // An image is written beside OUT.img and takes its name only when whole.
    std::unique_ptr<OutputFile> image;
    if (nas)
        refuse_to_overwrite_folder(target, force);
    else
        image = std::make_unique<OutputFile>(target, std::vector<GuardedDisk>{}, force);
    const std::string scenario = read_text(pos[0]);
    auto started = std::chrono::steady_clock::now();
    size_t events = 0, pictures = 0, labels = 0;
    try {
        auto r = rec::run_scenario(scenario, nas ? target : image->temp_path(), nas);
        events = r->events().size(), pictures = r->pictures().size(), labels = r->labels().size();
    } catch (const std::invalid_argument &e) {
        throw ToolError(pos[0] + ": " + e.what());
    }
    if (image) image->commit();
    double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started).count();
    print_out("%s: %s with %zu events, %zu pictures, %zu labels (%.0f ms)\n", target.c_str(),
              nas ? "NAS folder" : "raw image", events, pictures, labels, ms);
    return 0;
}

} // namespace cli
