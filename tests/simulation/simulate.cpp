// simulate SEED [STEPS] [--story]: lives through the day of that seed. Prints what became of it;
// with --story, and when an invariant is broken, the whole story before that.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/simulation/day.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fputs("usage: simulate SEED [STEPS] [--story]\n", stderr);
    return 2;
  }
  const std::uint64_t seed = std::strtoull(argv[1], nullptr, 10);
  std::uint64_t steps = 20000;
  bool tells = false;
  for (int i = 2; i < argc; ++i) {
    if (std::strcmp(argv[i], "--story") == 0) {
      tells = true;
    } else {
      steps = std::strtoull(argv[i], nullptr, 10);
    }
  }
  veltrane::simulation::Day day(seed);
  day.Run(steps);
  if (tells || !day.Broken().empty()) {
    for (const std::string& line : day.Told().Lines()) std::puts(line.c_str());
  }
  std::printf("seed %llu: %llu steps, %llu processes, %llu requests, story %016llx%s%s\n",
              static_cast<unsigned long long>(seed), static_cast<unsigned long long>(day.Steps()),
              static_cast<unsigned long long>(day.Processes()),
              static_cast<unsigned long long>(day.Exchanges()),
              static_cast<unsigned long long>(day.Told().Number()),
              day.Broken().empty() ? "" : ", broken: ", day.Broken().c_str());
  return day.Broken().empty() ? 0 : 1;
}
