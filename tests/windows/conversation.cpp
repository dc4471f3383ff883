#include "tests/windows/conversation.h"

#include <regex>

namespace veltrane::windows_tests {

std::string WithoutTimes(const std::string& text) {
  static const std::regex time(R"(\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2}Z)");
  return std::regex_replace(text, time, "{utc}");
}

}  // namespace veltrane::windows_tests
