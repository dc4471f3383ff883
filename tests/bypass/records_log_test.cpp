// The log line of the bypass.

#include <gtest/gtest.h>

#include "bypass/records.h"
#include "tests/bypass/record_texts.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

class AdminBypassLog : public OnMachine {
 protected:
  AdminBypassState state;
};

TEST_F(AdminBypassLog, GoesToTheDebuggerAndThenToStandardErrorAsOneWriteEach) {
  state.enabled = true;
  state.applied = true;
  LogAdminBypass(state);
  const std::vector<simulated::Printed> log = machine.console.Log();
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0].outlet, simulated::Outlet::kDebugger);
  EXPECT_EQ(log[0].text, L"[Veltrane][admin_bypass] enabled=1 applied=1 failure=\n");
  EXPECT_EQ(log[1].outlet, simulated::Outlet::kError);
  EXPECT_EQ(log[1].text, L"[Veltrane][admin_bypass] enabled=1 applied=1 failure=\n");
}

TEST_F(AdminBypassLog, EmptyFailureReasonLeavesTheLineFeedRightAfterTheEqualsSign) {
  LogAdminBypass(state);
  EXPECT_EQ(machine.console.Error(), L"[Veltrane][admin_bypass] enabled=0 applied=0 failure=\n");
}

TEST_F(AdminBypassLog, FailedCheckAfterTheTunnelNamesItsReason) {
  state.enabled = true;
  state.failure_reason = "route_verify_after_tunnel_failed";
  LogAdminBypass(state);
  EXPECT_EQ(machine.console.Error(),
            L"[Veltrane][admin_bypass] enabled=1 applied=0 "
            L"failure=route_verify_after_tunnel_failed\n");
}

TEST_F(AdminBypassLog, AppliedIsWrittenApartFromEnabled) {
  state.applied = true;
  LogAdminBypass(state);
  EXPECT_EQ(machine.console.Error(), L"[Veltrane][admin_bypass] enabled=0 applied=1 failure=\n");
}

TEST_F(AdminBypassLog, FailureReasonIsWidenedByteByByteWithItsSign) {
  state.failure_reason = "\xC3\xA9";
  LogAdminBypass(state);
  EXPECT_EQ(machine.console.Debugger(),
            L"[Veltrane][admin_bypass] enabled=0 applied=0 failure=\xFFC3\xFFA9\n");
  EXPECT_EQ(machine.console.Error(),
            L"[Veltrane][admin_bypass] enabled=0 applied=0 failure=\xFFC3\xFFA9\n");
}

TEST_F(AdminBypassLog, OtherTextsAreNotPrinted) {
  state.message = "a message";
  state.client_ip = "203.0.113.5";
  state.route_add_results = "203.0.113.5:added;";
  LogAdminBypass(state);
  EXPECT_EQ(machine.console.Error(), L"[Veltrane][admin_bypass] enabled=0 applied=0 failure=\n");
}

TEST_F(AdminBypassLog, LoggingDoesNotStore) {
  state.enabled = true;
  LogAdminBypass(state);
  EXPECT_FALSE(CurrentAdminBypassState().enabled);
}

TEST_F(AdminBypassLog, StoreAndLogStoresBeforeItLogsAndReturnsTheRecord) {
  state.enabled = true;
  state.message = "a message";
  std::string stored_when_logged;
  machine.OnCall("PrintDebugger", 1, [&] { stored_when_logged = Text(CurrentAdminBypassState()); });
  EXPECT_EQ(Text(StoreAndLogBypass(state)), Text(state));
  EXPECT_EQ(stored_when_logged, Text(state));
  EXPECT_EQ(machine.console.Error(), L"[Veltrane][admin_bypass] enabled=1 applied=0 failure=\n");
}

}  // namespace
}  // namespace veltrane
