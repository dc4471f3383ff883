// The exits of the apply sequence at which no route has been added, and the successful one.

#include "bypass/apply.h"

#include <gtest/gtest.h>

#include "bypass/host_routes.h"
#include "tests/bypass/on_apply_machine.h"

namespace veltrane {
namespace {

class DisabledBypass : public OnApplyMachine {};

TEST_F(DisabledBypass, IsStoredWithoutALogLineEvenWhileARemoteDesktopClientIsConnected) {
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.sessions.AddActive(2, "203.0.113.5");
  AdminBypassState expected;
  expected.required_enforced = true;
  expected.message = "admin bypass disabled for this build/config";
  ExpectApplyGives(expected);
  EXPECT_EQ(LogLines(), Strings{});
  EXPECT_EQ(machine.Changes(), Strings{});
}

TEST_F(DisabledBypass, InSafeModeSaysSoInItsFlags) {
  AdminBypassState expected;
  expected.skipped_for_safe_mode = true;
  expected.message = "admin bypass disabled for this build/config";
  ExpectApplyGives(expected, true);
  EXPECT_EQ(LogLines(), Strings{});
}

TEST_F(DisabledBypass, StillReadsTheAutoStop) {
  machine.environment.SetMachine(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"45");
  EXPECT_EQ(ApplyAdminBypass(false).auto_stop_seconds, 45);
}

TEST_F(DisabledBypass, GathersNothing) {
  ApplyAdminBypass(false);
  EXPECT_EQ(machine.calls.Count("ReadTcpConnections"), 0u);
  EXPECT_EQ(machine.calls.Count("ReadSessions"), 0u);
  EXPECT_EQ(machine.calls.Count("FindBestRoute"), 0u);
  EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 0u);
}

TEST_F(DisabledBypass, ForgetsTheEarlierBypassWithoutDeletingItsRoutes) {
  LeaveAnEarlierBypass();
  AdminBypassState expected;
  expected.required_enforced = true;
  expected.message = "admin bypass disabled for this build/config";
  ExpectApplyGives(expected);
  EXPECT_EQ(RecordedRoutes(), Strings{});
  EXPECT_EQ(SelectedBypassIps(), Strings{});
  EXPECT_EQ(RequiredBypassIps(), Strings{});
  ExpectPhysicalRoute("0.0.0.0", 0);
  EXPECT_EQ(machine.Changes(), Strings{});
  EXPECT_TRUE(machine.routes.Has("8.8.4.4/32 via 192.168.1.9 if 9 metric 1"));
}

class SafeModeBypass : public OnApplyMachine {};

TEST_F(SafeModeBypass, GathersAndReportsButAddsNothing) {
  LeaveAnEarlierBypass();
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"198.51.100.7 192.168.1.10");
  machine.environment.SetUser(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"120");
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.sessions.AddActive(2, "100.64.0.1");
  AdminBypassState expected;
  expected.enabled = true;
  expected.attempted = true;
  expected.routes_ready_before_tunnel = true;
  expected.skipped_for_safe_mode = true;
  expected.message = "admin bypass skipped for POC safe mode (disable-default-route)";
  expected.rdp_tcp_remote_addresses = R"(["203.0.113.5","203.0.113.5"])";
  expected.admin_env_ips = R"(["198.51.100.7","192.168.1.10"])";
  expected.selected_admin_bypass_ips = R"(["100.64.0.1","198.51.100.7","203.0.113.5"])";
  expected.selected_bypass_ip_entries =
      R"([{"ip":"100.64.0.1","source":"WTS","required":false},)"
      R"({"ip":"198.51.100.7","source":"ADMIN_BYPASS_IP","required":true},)"
      R"({"ip":"203.0.113.5","source":"RDP_TCP_ESTABLISHED","required":true}])";
  expected.auto_stop_seconds = 120;
  ExpectApplyGives(expected, true);
  EXPECT_EQ(SelectedBypassIps(), (Strings{"100.64.0.1", "198.51.100.7", "203.0.113.5"}));
  EXPECT_EQ(RequiredBypassIps(), (Strings{"198.51.100.7", "203.0.113.5"}));
  ExpectPhysicalRoute("0.0.0.0", 0);
  EXPECT_EQ(RecordedRoutes(), Strings{});
  EXPECT_EQ(machine.Changes(), Strings{});
  EXPECT_EQ(machine.calls.Count("FindBestRoute"), 0u);
  EXPECT_EQ(LogLines(), Logged("enabled=1 applied=0 failure="));
}

TEST_F(SafeModeBypass, GathersPeersThenTokensThenCandidates) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"198.51.100.1");
  machine.OnCall("ReadTcpConnections", 1,
                 [this] { machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"198.51.100.2"); });
  // The candidates ask for the peers after they have read both variables.
  machine.OnCall("ReadTcpConnections", 2,
                 [this] { machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"198.51.100.3"); });
  const AdminBypassState state = ApplyAdminBypass(true);
  EXPECT_EQ(state.admin_env_ips, R"(["198.51.100.2"])");
  EXPECT_EQ(state.selected_admin_bypass_ips, R"(["198.51.100.2"])");
}

TEST_F(SafeModeBypass, ForgetsTheEarlierBypassAfterReadingItsSettings) {
  LeaveAnEarlierBypass();
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  Strings recorded;
  // The switch is the first variable that is read, the auto-stop the second.
  machine.OnCall("ReadProcessVariable", 2, [&] { recorded = RecordedRoutes(); });
  ApplyAdminBypass(true);
  EXPECT_EQ(recorded, Strings{"8.8.4.4/32 via 192.168.1.9 if 9 metric 1"});
}

TEST_F(SafeModeBypass, ListsHoldTheCandidatesAloneWhateverWasPutThereWhileGathering) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"198.51.100.7");
  machine.OnCall("ReadSessions", 1, [] {
    SelectedBypassIps() = {"8.8.4.4"};
    RequiredBypassIps() = {"8.8.4.4"};
  });
  ApplyAdminBypass(true);
  EXPECT_EQ(SelectedBypassIps(), Strings{"198.51.100.7"});
  EXPECT_EQ(RequiredBypassIps(), Strings{"198.51.100.7"});
}

TEST_F(SafeModeBypass, WithoutAnyAddressIsReadyAndListsAreEmptyArrays) {
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  AdminBypassState expected;
  expected.enabled = true;
  expected.attempted = true;
  expected.routes_ready_before_tunnel = true;
  expected.skipped_for_safe_mode = true;
  expected.message = "admin bypass skipped for POC safe mode (disable-default-route)";
  expected.rdp_tcp_remote_addresses = "[]";
  expected.admin_env_ips = "[]";
  expected.selected_admin_bypass_ips = "[]";
  expected.selected_bypass_ip_entries = "[]";
  ExpectApplyGives(expected, true);
}

// No required address.
class UnaddressedBypass : public OnApplyMachine {
 protected:
  static AdminBypassState Expected() {
    AdminBypassState expected;
    expected.enabled = true;
    expected.attempted = true;
    expected.required_enforced = true;
    expected.message =
        "no required RDP/admin IPs detected; set ADMIN_BYPASS_IP, ADMIN_BYPASS_IPS, or establish "
        "RDP before connecting";
    expected.failure_reason = "no_admin_bypass_ips";
    expected.rdp_tcp_remote_addresses = "[]";
    expected.admin_env_ips = "[]";
    expected.selected_admin_bypass_ips = "[]";
    expected.selected_bypass_ip_entries = "[]";
    return expected;
  }
};

TEST_F(UnaddressedBypass, IsRefusedWhenNothingWasFound) {
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  ExpectApplyGives(Expected());
  EXPECT_EQ(machine.Changes(), Strings{});
  EXPECT_EQ(machine.calls.Count("FindBestRoute"), 0u);
  EXPECT_EQ(LogLines(), Logged("enabled=1 applied=0 failure=no_admin_bypass_ips"));
}

TEST_F(UnaddressedBypass, IsRefusedWithASessionClientAlone) {
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  machine.sessions.AddActive(2, "203.0.113.5");
  AdminBypassState expected = Expected();
  expected.selected_admin_bypass_ips = R"(["203.0.113.5"])";
  expected.selected_bypass_ip_entries = R"([{"ip":"203.0.113.5","source":"WTS","required":false}])";
  ExpectApplyGives(expected);
  EXPECT_EQ(SelectedBypassIps(), Strings{"203.0.113.5"});
  EXPECT_EQ(RequiredBypassIps(), Strings{});
  ExpectPhysicalRoute("0.0.0.0", 0);
}

TEST_F(UnaddressedBypass, IsRefusedWithAPrivateAdminAddressThatIsStillListed) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"192.168.1.10");
  AdminBypassState expected = Expected();
  expected.admin_env_ips = R"(["192.168.1.10"])";
  ExpectApplyGives(expected);
}

TEST_F(UnaddressedBypass, TokensOfTheVariablesAreEscapedInTheirList) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", LR"(a"b \\c)");
  AdminBypassState expected = Expected();
  expected.admin_env_ips = R"(["a\"b","\\\\c"])";
  ExpectApplyGives(expected);
}

TEST_F(UnaddressedBypass, IsRefusedWhenTheConnectionsCannotBeRead) {
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.FailAlways("ReadTcpConnections", 5);
  ExpectApplyGives(Expected());
}

TEST_F(UnaddressedBypass, ReadsTheConnectionsTwice) {
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.Fail("ReadTcpConnections", 2, 5);  // the candidates' own reading
  AdminBypassState expected = Expected();
  expected.rdp_tcp_remote_addresses = R"(["203.0.113.5"])";
  ExpectApplyGives(expected);
  EXPECT_EQ(machine.calls.Count("ReadTcpConnections"), 2u);
}

TEST_F(UnaddressedBypass, PrivateAdminAddressDoesNotHideARemoteDesktopClient) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"192.168.1.10");
  machine.connections.AddEstablished(3389, "203.0.113.5");
  EXPECT_TRUE(ApplyAdminBypass(false).applied);
}

// One required address, and no usable gateway.
class BypassWithoutGateway : public OnApplyMachine {
 protected:
  BypassWithoutGateway() { machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.5"); }

  static AdminBypassState Expected() {
    AdminBypassState expected;
    expected.enabled = true;
    expected.attempted = true;
    expected.required_enforced = true;
    expected.message = "physical default gateway not found before tunnel (GetBestRoute)";
    expected.failure_reason = "physical_gateway_missing";
    expected.rdp_tcp_remote_addresses = "[]";
    expected.admin_env_ips = R"(["203.0.113.5"])";
    expected.selected_admin_bypass_ips = R"(["203.0.113.5"])";
    expected.selected_bypass_ip_entries =
        R"([{"ip":"203.0.113.5","source":"ADMIN_BYPASS_IP","required":true}])";
    return expected;
  }

  void ExpectRefused(const AdminBypassState& expected) {
    ExpectApplyGives(expected);
    ExpectPhysicalRoute("0.0.0.0", 0);
    EXPECT_EQ(machine.Changes(), Strings{});
    EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 0u);
    EXPECT_EQ(LogLines(), Logged("enabled=1 applied=0 failure=physical_gateway_missing"));
  }
};

TEST_F(BypassWithoutGateway, IsRefusedWhenTheBestRouteCannotBeAsked) {
  machine.Fail("FindBestRoute", 1, 5);
  ExpectRefused(Expected());
}

TEST_F(BypassWithoutGateway, IsRefusedWhenNoRouteLeadsOut) {
  machine.routes.Clear();
  ExpectRefused(Expected());
}

TEST_F(BypassWithoutGateway, IsRefusedWhenTheDefaultRouteIsOnLink) {
  machine.routes.Clear();
  machine.routes.Add("0.0.0.0/0", "0.0.0.0", 12, 25);
  ExpectRefused(Expected());
}

TEST_F(BypassWithoutGateway, IsRefusedWhenTheProbeAddressDoesNotParse) {
  // The listing of the sessions is the last reading before the probe.
  machine.OnCall("ReadSessions", 1, [this] { machine.FailAlways("ParseIpv4", 0); });
  AdminBypassState expected = Expected();
  expected.message = "probe address parse failed";
  ExpectRefused(expected);
  EXPECT_EQ(machine.calls.Count("FindBestRoute"), 0u);
}

TEST_F(BypassWithoutGateway, AsksForTheRouteToTheProbeAddressOnce) {
  ApplyAdminBypass(false);
  EXPECT_EQ(machine.calls.Of("FindBestRoute"), Strings{"FindBestRoute 8.8.8.8"});
}

}  // namespace
}  // namespace veltrane
