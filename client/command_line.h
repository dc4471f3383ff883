#pragma once

#include <string>
#include <vector>

namespace veltrane {

// Runs veltranectl with its arguments in UTF-8, the program's name not among them, and returns its
// exit code. Prints help, the version and every failure itself.
int RunClient(const std::vector<std::string>& arguments);

}  // namespace veltrane
