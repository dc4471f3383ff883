// The log line of the bypass.

#include <gtest/gtest.h>

#include "bypass/records.h"
#include "tests/bypass/full_records.h"
#include "tests/bypass/record_texts.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

struct Written {
  bool enabled;
  bool applied;
  const char* failure_reason;
  const wchar_t* text;
};

class AdminBypassLog : public OnMachine {};

TEST_F(AdminBypassLog, SaysEnabledAppliedAndTheFailureReasonWidenedByteByByteWithItsSign) {
  for (const Written& line :
       {Written{false, false, "", L"[Veltrane][admin_bypass] enabled=0 applied=0 failure=\n"},
        Written{true, true, "", L"[Veltrane][admin_bypass] enabled=1 applied=1 failure=\n"},
        Written{false, true, "", L"[Veltrane][admin_bypass] enabled=0 applied=1 failure=\n"},
        Written{true, false, "route_verify_after_tunnel_failed",
                L"[Veltrane][admin_bypass] enabled=1 applied=0 "
                L"failure=route_verify_after_tunnel_failed\n"},
        Written{false, false, "\xC3\xA9",
                L"[Veltrane][admin_bypass] enabled=0 applied=0 failure=\xFFC3\xFFA9\n"}}) {
    AdminBypassState state = FullState();
    state.enabled = line.enabled;
    state.applied = line.applied;
    state.failure_reason = line.failure_reason;
    machine.console.Clear();
    LogAdminBypass(state);
    const std::vector<simulated::Printed> log = machine.console.Log();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].outlet, simulated::Outlet::kDebugger);
    EXPECT_EQ(log[0].text, line.text);
    EXPECT_EQ(log[1].outlet, simulated::Outlet::kError);
    EXPECT_EQ(log[1].text, line.text);
  }
}

TEST_F(AdminBypassLog, LoggingDoesNotStore) {
  LogAdminBypass(FullState());
  EXPECT_EQ(Text(CurrentAdminBypassState()), Text(AdminBypassState()));
}

TEST_F(AdminBypassLog, StoreAndLogStoresBeforeItLogsAndReturnsTheRecord) {
  std::string stored_when_logged;
  machine.OnCall("PrintDebugger", 1, [&] { stored_when_logged = Text(CurrentAdminBypassState()); });
  EXPECT_EQ(Text(StoreAndLogBypass(FullState())), Text(FullState()));
  EXPECT_EQ(stored_when_logged, Text(FullState()));
  EXPECT_EQ(machine.console.Error(),
            L"[Veltrane][admin_bypass] enabled=1 applied=1 failure=a_reason\n");
}

}  // namespace
}  // namespace veltrane
