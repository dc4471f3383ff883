#pragma once

#include <string>
#include <vector>

namespace veltrane {

// Runs veltranectl with these UTF-8 words, without the program name, and returns its exit code.
// Help, the version and every failure are printed here; a failure never repeats an argument that
// was not expected.
int RunClient(const std::vector<std::string>& words);

}  // namespace veltrane
