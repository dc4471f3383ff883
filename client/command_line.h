#pragma once

#include <string>
#include <vector>

namespace veltrane {

// Runs veltranectl with these UTF-8 arguments, without the program name, and returns its exit code.
// Help, the version and every failure are printed here.
int RunClient(const std::vector<std::string>& arguments);

}  // namespace veltrane
