// The exits of the apply sequence at which no route has been added.

#include "bypass/apply.h"

#include <gtest/gtest.h>

#include "tests/bypass/on_apply_machine.h"

namespace veltrane {
namespace {

class DisabledBypass : public OnApplyMachine {
 protected:
  static AdminBypassState Expected() {
    AdminBypassState expected;
    expected.required_enforced = true;
    expected.message = "admin bypass disabled for this build/config";
    return expected;
  }
};

TEST_F(DisabledBypass, IsStoredWithItsAutoStopButNotLogged) {
  machine.environment.SetMachine(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"45");
  AdminBypassState expected = Expected();
  expected.auto_stop_seconds = 45;
  ExpectApplyGives(expected);
  EXPECT_EQ(LogLines(), Strings{});
}

TEST_F(DisabledBypass, InSafeModeSaysSoInItsFlags) {
  AdminBypassState expected = Expected();
  expected.required_enforced = false;
  expected.skipped_for_safe_mode = true;
  ExpectApplyGives(expected, true);
  EXPECT_EQ(LogLines(), Strings{});
}

TEST_F(DisabledBypass, ReadsItsSettingsAloneEvenWhileARemoteDesktopClientIsConnected) {
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.sessions.AddActive(2, "203.0.113.5");
  ExpectApplyGives(Expected());
  EXPECT_EQ(machine.calls.All(), Joined({{"ReadProcessVariable VELTRANE_POC_ADMIN_BYPASS"},
                                         ReadInAllScopes("ADMIN_BYPASS_IP"),
                                         ReadInAllScopes("ADMIN_BYPASS_IPS"),
                                         ReadInAllScopes("VELTRANE_POC_AUTO_STOP_SECONDS")}));
}

TEST_F(DisabledBypass, ForgetsTheEarlierBypassWithoutDeletingItsRoutes) {
  LeaveAnEarlierBypass();
  ExpectApplyGives(Expected());
  EXPECT_EQ(RecordedRoutes(), Strings{});
  ExpectLists({}, {});
  ExpectPhysicalRoute("0.0.0.0", 0);
  EXPECT_EQ(machine.Changes(), Strings{});
}

class SafeModeBypass : public OnApplyMachine {
 protected:
  static AdminBypassState Expected() {
    AdminBypassState expected =
        Attempted("admin bypass skipped for POC safe mode (disable-default-route)");
    expected.routes_ready_before_tunnel = true;
    expected.required_enforced = false;
    expected.skipped_for_safe_mode = true;
    return expected;
  }
};

TEST_F(SafeModeBypass, GathersAndReportsButAddsNothing) {
  LeaveAnEarlierBypass();
  SetVariable(L"ADMIN_BYPASS_IP", L"198.51.100.7 192.168.1.10");
  machine.environment.SetUser(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"120");
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.sessions.AddActive(2, "100.64.0.1");
  AdminBypassState expected = Expected();
  expected.rdp_tcp_remote_addresses = R"(["203.0.113.5","203.0.113.5"])";
  expected.admin_env_ips = R"(["198.51.100.7","192.168.1.10"])";
  expected.selected_admin_bypass_ips = R"(["100.64.0.1","198.51.100.7","203.0.113.5"])";
  expected.selected_bypass_ip_entries =
      R"([{"ip":"100.64.0.1","source":"WTS","required":false},)"
      R"({"ip":"198.51.100.7","source":"ADMIN_BYPASS_IP","required":true},)"
      R"({"ip":"203.0.113.5","source":"RDP_TCP_ESTABLISHED","required":true}])";
  expected.auto_stop_seconds = 120;
  ExpectApplyGives(expected, true);
  ExpectLists({"100.64.0.1", "198.51.100.7", "203.0.113.5"}, {"198.51.100.7", "203.0.113.5"});
  ExpectPhysicalRoute("0.0.0.0", 0);
  EXPECT_EQ(RecordedRoutes(), Strings{});
  EXPECT_EQ(machine.Changes(), Strings{});
  EXPECT_EQ(machine.calls.Count("FindBestRoute"), 0u);
  EXPECT_EQ(LogLines(), Logged("enabled=1 applied=0 failure="));
}

TEST_F(SafeModeBypass, WithoutAnyAddressIsReadyAndListsAreEmptyArrays) {
  SetVariable(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  ExpectApplyGives(Expected(), true);
}

TEST_F(SafeModeBypass, GathersPeersThenTokensThenCandidates) {
  SetVariable(L"ADMIN_BYPASS_IP", L"198.51.100.1");
  machine.OnCall("ReadTcpConnections", 1,
                 [this] { SetVariable(L"ADMIN_BYPASS_IP", L"198.51.100.2"); });
  // The candidates ask for the peers after they have read both variables.
  machine.OnCall("ReadTcpConnections", 2,
                 [this] { SetVariable(L"ADMIN_BYPASS_IP", L"198.51.100.3"); });
  const AdminBypassState state = ApplyAdminBypass(true);
  EXPECT_EQ(state.admin_env_ips, R"(["198.51.100.2"])");
  EXPECT_EQ(state.selected_admin_bypass_ips, R"(["198.51.100.2"])");
}

TEST_F(SafeModeBypass, ForgetsTheEarlierBypassAfterReadingItsSettings) {
  LeaveAnEarlierBypass();
  SetVariable(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  Strings recorded;
  // The switch is the first variable that is read, the auto-stop the second.
  machine.OnCall("ReadProcessVariable", 2, [&] { recorded = RecordedRoutes(); });
  ApplyAdminBypass(true);
  EXPECT_EQ(recorded, Strings{earlier_route});
}

TEST_F(SafeModeBypass, ListsHoldTheCandidatesAloneWhateverWasPutThereWhileGathering) {
  SetVariable(L"ADMIN_BYPASS_IP", L"198.51.100.7");
  machine.OnCall("ReadSessions", 1, [this] { LeaveAnEarlierBypass(); });
  ApplyAdminBypass(true);
  ExpectLists({"198.51.100.7"}, {"198.51.100.7"});
}

// The switch is on, and there is no required address.
class UnaddressedBypass : public OnApplyMachine {
 protected:
  UnaddressedBypass() { SetVariable(L"VELTRANE_POC_ADMIN_BYPASS", L"1"); }

  AdminBypassState expected = Attempted(
      "no required RDP/admin IPs detected; set ADMIN_BYPASS_IP, ADMIN_BYPASS_IPS, or establish RDP "
      "before connecting",
      "no_admin_bypass_ips");
};

TEST_F(UnaddressedBypass, IsRefusedWhenNothingWasFound) {
  ExpectApplyGives(expected);
  EXPECT_EQ(machine.Changes(), Strings{});
  EXPECT_EQ(machine.calls.Count("FindBestRoute"), 0u);
  EXPECT_EQ(LogLines(), Logged("enabled=1 applied=0 failure=no_admin_bypass_ips"));
}

TEST_F(UnaddressedBypass, IsRefusedWithASessionClientAlone) {
  machine.sessions.AddActive(2, "203.0.113.5");
  expected.selected_admin_bypass_ips = R"(["203.0.113.5"])";
  expected.selected_bypass_ip_entries = R"([{"ip":"203.0.113.5","source":"WTS","required":false}])";
  ExpectApplyGives(expected);
  ExpectLists({"203.0.113.5"}, {});
  ExpectPhysicalRoute("0.0.0.0", 0);
}

TEST_F(UnaddressedBypass, IsRefusedWithAPrivateAdminAddressThatSwitchesItOnAndIsListed) {
  SetVariable(L"VELTRANE_POC_ADMIN_BYPASS", L"");
  SetVariable(L"ADMIN_BYPASS_IP", L"192.168.1.10");
  expected.admin_env_ips = R"(["192.168.1.10"])";
  ExpectApplyGives(expected);
  machine.connections.AddEstablished(3389, "203.0.113.5");
  EXPECT_TRUE(ApplyAdminBypass(false).applied);
}

TEST_F(UnaddressedBypass, TokensOfTheVariablesAreEscapedInTheirList) {
  SetVariable(L"ADMIN_BYPASS_IP", LR"(a"b \\c)");
  expected.admin_env_ips = R"(["a\"b","\\\\c"])";
  ExpectApplyGives(expected);
}

TEST_F(UnaddressedBypass, IsRefusedWhenTheConnectionsCannotBeRead) {
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.FailAlways("ReadTcpConnections", 5);
  ExpectApplyGives(expected);
}

TEST_F(UnaddressedBypass, ReadsTheConnectionsTwice) {
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.Fail("ReadTcpConnections", 2, 5);  // the candidates' own reading
  expected.rdp_tcp_remote_addresses = R"(["203.0.113.5"])";
  ExpectApplyGives(expected);
  EXPECT_EQ(machine.calls.Count("ReadTcpConnections"), 2u);
}

// One required address, and no usable gateway.
class BypassWithoutGateway : public OnApplyMachine {
 protected:
  BypassWithoutGateway() { SetVariable(L"ADMIN_BYPASS_IP", L"203.0.113.5"); }

  void ExpectRefused(const std::string& message) {
    machine.calls.Clear();
    AdminBypassState expected = Attempted(message, "physical_gateway_missing");
    expected.admin_env_ips = R"(["203.0.113.5"])";
    expected.selected_admin_bypass_ips = R"(["203.0.113.5"])";
    expected.selected_bypass_ip_entries =
        R"([{"ip":"203.0.113.5","source":"ADMIN_BYPASS_IP","required":true}])";
    ExpectApplyGives(expected);
    ExpectPhysicalRoute("0.0.0.0", 0);
    EXPECT_EQ(machine.Changes(), Strings{});
    EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 0u);
    EXPECT_EQ(LogLines(), Logged("enabled=1 applied=0 failure=physical_gateway_missing"));
  }

  const std::string not_found = "physical default gateway not found before tunnel (GetBestRoute)";
};

TEST_F(BypassWithoutGateway, IsRefusedWhenTheBestRouteCannotBeAsked) {
  machine.Fail("FindBestRoute", 1, 5);
  ExpectRefused(not_found);
  EXPECT_EQ(machine.calls.Of("FindBestRoute"), Strings{"FindBestRoute 8.8.8.8"});
}

TEST_F(BypassWithoutGateway, IsRefusedWhenNoRouteLeadsToAGateway) {
  machine.routes.Clear();
  ExpectRefused(not_found);
  machine.routes.Add("0.0.0.0/0", "0.0.0.0", 12, 25);
  ExpectRefused(not_found);
}

TEST_F(BypassWithoutGateway, IsRefusedWhenTheProbeAddressDoesNotParse) {
  // The listing of the sessions is the last reading before the probe.
  machine.OnCall("ReadSessions", 1, [this] { machine.FailAlways("ParseIpv4", 0); });
  ExpectRefused("probe address parse failed");
  EXPECT_EQ(machine.calls.Count("FindBestRoute"), 0u);
}

}  // namespace
}  // namespace veltrane
