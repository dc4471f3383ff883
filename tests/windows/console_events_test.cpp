#include <gtest/gtest.h>

#include "tests/windows/process.h"

namespace veltrane::windows_tests {
namespace {

TEST(ConsoleEvents, CtrlCStopsTheServerAndTheProcessReturns0) {
  Process service(ServiceExecutable(), L"--console");
  while (service.Output().find("IPC on") == std::string::npos) Sleep(50);
  SetConsoleCtrlHandler(nullptr, TRUE);  // this process outlives the event
  ASSERT_TRUE(GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0));
  EXPECT_EQ(service.Wait().exit_code, 0u);
  SetConsoleCtrlHandler(nullptr, FALSE);
}

}  // namespace
}  // namespace veltrane::windows_tests
