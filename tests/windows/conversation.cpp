#include "tests/windows/conversation.h"

#include <regex>

#include <gtest/gtest.h>

#include "tests/windows/control_manager.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {

std::string BringTunnelUp(const std::string& request) {
  std::string reply = Ask(request);
  EXPECT_EQ(reply.find(R"({"ok":true,"phase":"connected",)"), 0u) << reply;
  EXPECT_TRUE(WaitForServiceState(kTunnelService, SERVICE_RUNNING));
  return reply;
}

std::string WithoutTimes(const std::string& text) {
  static const std::regex time(R"(\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2}Z)");
  return std::regex_replace(text, time, "{utc}");
}

}  // namespace veltrane::windows_tests
