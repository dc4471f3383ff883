#pragma once

#include <string>

namespace veltrane {

// Ends the process with the message when a property does not hold, so that libFuzzer keeps the
// input.
void Require(bool holds, const std::string& property);

// The same for two texts that must be equal, which it shows.
void RequireEqual(const std::string& actual, const std::string& expected,
                  const std::string& property);

}  // namespace veltrane
