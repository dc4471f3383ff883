#pragma once

// The fixture of the tests of the apply sequence.

#include <string>

#include "bypass/apply.h"
#include "tests/bypass/full_records.h"
#include "tests/bypass/on_bypass_machine.h"
#include "tests/bypass/record_texts.h"

namespace veltrane {

class OnApplyMachine : public OnBypassMachine {
 protected:
  // What an earlier bypass left: a record, a recorded route, lists and a gateway.
  void LeaveAnEarlierBypass() {
    CurrentAdminBypassState() = FullState();
    machine.routes.Add("8.8.4.4/32", "192.168.1.9", 9, 1);
    AddedRouteList() = {simulated::MakeRoute("8.8.4.4/32", "192.168.1.9", 9, 1)};
    SelectedBypassIps() = {"8.8.4.4"};
    RequiredBypassIps() = {"8.8.4.4"};
    CurrentPhysicalRoute() = {.gateway = Ip("192.168.1.9"), .interface_index = 9};
  }
  const std::string earlier_route = "8.8.4.4/32 via 192.168.1.9 if 9 metric 1";

  // The record of a bypass that is on and has found nobody.
  static AdminBypassState Attempted(const std::string& message, const std::string& reason = "") {
    AdminBypassState state;
    state.enabled = true;
    state.attempted = true;
    state.required_enforced = true;
    state.message = message;
    state.failure_reason = reason;
    state.rdp_tcp_remote_addresses = "[]";
    state.admin_env_ips = "[]";
    state.selected_admin_bypass_ips = "[]";
    state.selected_bypass_ip_entries = "[]";
    return state;
  }

  // Applies; expects this record as the result and as the current state.
  void ExpectApplyGives(const AdminBypassState& expected, bool safe_mode = false) {
    EXPECT_EQ(Text(ApplyAdminBypass(safe_mode)), Text(expected));
    EXPECT_EQ(Text(CurrentAdminBypassState()), Text(expected));
  }

  static void ExpectLists(const Strings& selected, const Strings& required) {
    EXPECT_EQ(SelectedBypassIps(), selected);
    EXPECT_EQ(RequiredBypassIps(), required);
  }
};

}  // namespace veltrane
