// rfs-mkdisk: writes the disk a scenario file describes.
//   rfs-mkdisk scenario.json out.img
//   rfs-mkdisk scenario.json --nas DIR
#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>
#include <sstream>
#include <string>

#include "scenario.h"

int main(int argc, char** argv) {
  const bool nas = argc == 4 && std::string(argv[2]) == "--nas";
  if (argc != 3 && !nas) {
    std::fprintf(stderr, "usage: %s scenario.json out.img | %s scenario.json --nas DIR\n",
                 argv[0], argv[0]);
    return 2;
  }
  std::ifstream in(argv[1]);
  if (!in) {
    std::fprintf(stderr, "cannot read %s\n", argv[1]);
    return 1;
  }
  std::stringstream text;
  text << in.rdbuf();
  try {
    const auto t0 = std::chrono::steady_clock::now();
    const auto r = rec::run_scenario(text.str(), nas ? argv[3] : argv[2],
                                     nas ? std::optional<bool>(true) : std::nullopt);
    const double ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
    std::printf("%s: %zu events, %zu pictures, %zu labels in %.1f ms\n", nas ? argv[3] : argv[2],
                r->events().size(), r->pictures().size(), r->labels().size(), ms);
    return 0;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 1;
  }
}
