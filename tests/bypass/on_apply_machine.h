#pragma once

// The fixture of the tests of the apply sequence.

#include <string>

#include "bypass/apply.h"
#include "tests/bypass/on_bypass_machine.h"
#include "tests/bypass/record_texts.h"

namespace veltrane {

class OnApplyMachine : public OnBypassMachine {
 protected:
  // What an earlier bypass left: a record, a recorded route, lists and a gateway.
  void LeaveAnEarlierBypass() {
    AdminBypassState& state = CurrentAdminBypassState();
    state.enabled = true;
    state.applied = true;
    state.routes_ready_before_tunnel = true;
    state.message = "an earlier message";
    state.failure_reason = "an_earlier_reason";
    machine.routes.Add("8.8.4.4/32", "192.168.1.9", 9, 1);
    AddedRouteList() = {simulated::MakeRoute("8.8.4.4/32", "192.168.1.9", 9, 1)};
    SelectedBypassIps() = {"8.8.4.4"};
    RequiredBypassIps() = {"8.8.4.4"};
    CurrentPhysicalRoute() = {.gateway = Ip("192.168.1.9"), .interface_index = 9};
  }

  // Applies; expects this record as the result and as the current state.
  void ExpectApplyGives(const AdminBypassState& expected, bool safe_mode = false) {
    EXPECT_EQ(Text(ApplyAdminBypass(safe_mode)), Text(expected));
    EXPECT_EQ(Text(CurrentAdminBypassState()), Text(expected));
  }

  void ExpectPhysicalRoute(const char* gateway, std::uint32_t interface_index) {
    EXPECT_EQ(CurrentPhysicalRoute().gateway, Ip(gateway));
    EXPECT_EQ(CurrentPhysicalRoute().interface_index, interface_index);
  }

  // The two writes of one log line.
  static Strings Logged(const std::string& fields) {
    return {"PrintDebugger [Veltrane][admin_bypass] " + fields,
            "PrintError [Veltrane][admin_bypass] " + fields};
  }

  static Strings Logged(const std::string& first, const std::string& second) {
    Strings lines = Logged(first);
    for (const std::string& line : Logged(second)) lines.push_back(line);
    return lines;
  }
};

}  // namespace veltrane
