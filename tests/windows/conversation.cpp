#include "tests/windows/conversation.h"

#include <gtest/gtest.h>

#include "tests/windows/control_manager.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {

std::string Fill(std::string text, const std::string& placeholder, const std::string& value) {
  for (std::size_t at = text.find(placeholder); at != std::string::npos;
       at = text.find(placeholder, at + value.size())) {
    text.replace(at, placeholder.size(), value);
  }
  return text;
}

std::string BringTunnelUp(const std::string& request) {
  std::string reply = Ask(request);
  EXPECT_EQ(reply.find(R"({"ok":true,"phase":"connected",)"), 0u) << reply;
  EXPECT_TRUE(WaitForServiceState(kTunnelServiceName, SERVICE_RUNNING));
  return reply;
}

}  // namespace veltrane::windows_tests
