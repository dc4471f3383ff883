// simulate SEED [STEPS] [--story] [--counts]: lives through the day of that seed. Prints what
// became of it; with --story, and when an invariant is broken, the whole story before that; with
// --counts how often each invariant had something to judge, and how often the program ended by
// itself for each reason.

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/simulation/day.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fputs("usage: simulate SEED [STEPS] [--story] [--counts]\n", stderr);
    return 2;
  }
  const std::uint64_t seed = std::strtoull(argv[1], nullptr, 10);
  std::uint64_t steps = 20000;
  bool tells = false;
  bool counts = false;
  for (int i = 2; i < argc; ++i) {
    if (std::strcmp(argv[i], "--story") == 0) {
      tells = true;
    } else if (std::strcmp(argv[i], "--counts") == 0) {
      counts = true;
    } else {
      steps = std::strtoull(argv[i], nullptr, 10);
    }
  }
  veltrane::simulation::Day day(seed);
  day.Run(steps);
  if (tells || !day.Broken().empty()) {
    for (const std::string& line : day.Told().Lines()) std::puts(line.c_str());
  }
  if (counts) {
    for (const auto& [name, times] : day.Asked()) {
      std::printf("asked %" PRIu64 " %s\n", times, name.c_str());
    }
  }
  std::printf("seed %" PRIu64 ": %" PRIu64 " steps, %" PRIu64 " processes, %" PRIu64
              " requests, story %016" PRIx64 "%s%s\n",
              seed, day.Steps(), day.Processes(), day.Exchanges(), day.Told().Number(),
              day.Broken().empty() ? "" : ", broken: ", day.Broken().c_str());
  return day.Broken().empty() ? 0 : 1;
}
