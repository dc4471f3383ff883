#include "tests/simulated/core.h"

#include <cstdio>
#include <cstdlib>

namespace veltrane::simulated {

void Die(const std::string& message) {
  std::fprintf(stderr, "simulated machine: %s\n", message.c_str());
  std::fflush(stderr);
  std::abort();
}

}  // namespace veltrane::simulated
