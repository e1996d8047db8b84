#include "disk_alias.h"

#include <filesystem>
#include <vector>

namespace rfs_host {

namespace {

constexpr const char *kAliasPrefix = "/rfs/d";

// Alias n names real_paths[n]; there are a handful of disks, so a list will do.
std::vector<std::string> &real_paths() {
    static std::vector<std::string> paths;
    return paths;
}

std::string normal_path(const std::string &path) {
    std::error_code ec;
    std::filesystem::path p = std::filesystem::absolute(path, ec);
    if (ec) p = path;
    std::string s = p.lexically_normal().string();
    while (s.size() > 1 && s.back() == '/') s.pop_back();
    return s;
}

} // namespace

std::string alias_disk(const std::string &real_path) {
    std::string real = normal_path(real_path);
    auto &paths = real_paths();
    size_t n = 0;
    while (n < paths.size() && paths[n] != real) ++n;
    if (n == paths.size()) paths.push_back(real);
    return kAliasPrefix + std::to_string(n);
}

std::string resolve_alias(const std::string &path) {
    const std::string prefix = kAliasPrefix;
    if (path.compare(0, prefix.size(), prefix) != 0) return path;
    size_t end = path.find('/', prefix.size());
    std::string number = path.substr(prefix.size(), end - prefix.size());
    if (number.empty() || number.size() > 6 ||
        number.find_first_not_of("0123456789") != std::string::npos ||
        (number.size() > 1 && number[0] == '0'))
        return path;
    size_t n = std::stoul(number);
    const auto &paths = real_paths();
    if (n >= paths.size()) return path;
    return end == std::string::npos ? paths[n] : paths[n] + path.substr(end);
}

void clear_aliases() { real_paths().clear(); }

} // namespace rfs_host
