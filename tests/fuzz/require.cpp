#include "tests/fuzz/require.h"

#include <cstdio>
#include <cstdlib>

namespace veltrane {

void Require(bool holds, const std::string& property) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", property.c_str());
  std::abort();
}

void RequireEqual(const std::string& actual, const std::string& expected,
                  const std::string& property) {
  if (actual == expected) return;
  std::fprintf(stderr, "does not hold: %s\n  actual:   %s\n  expected: %s\n", property.c_str(),
               actual.c_str(), expected.c_str());
  std::abort();
}

}  // namespace veltrane
