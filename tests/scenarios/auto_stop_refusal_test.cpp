// A connect that is refused, or torn down again, over a connection with a timer: it neither cancels
// the timer nor waits for it, and the timer then tears down whatever the refusal left.

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scenarios/auto_stop_scenario.h"
#include "tests/support/arrange.h"
#include "tests/support/name_of.h"

namespace veltrane {
namespace {

using simulated::Machine;

struct Refusal {
  const char* name;
  Arrange arrange;      // once the first connect has been answered
  std::string request;  // without a session
  std::string reply;    // its beginning
  std::string phase;    // afterwards
  Texts teardown;       // what the timer still changes when it expires
};

// The session that is registered, in a request.
std::string InSession(const std::string& request) {
  return R"({"session_nonce":"abc",)" + request.substr(1);
}

class RefusedBesideATimer : public AutoStopScenario, public testing::WithParamInterface<Refusal> {
 protected:
  // Registers a session, connects in it with a timer of a second, and has the next connect refused
  // when half of it has passed; the reply.
  std::string Refuse() {
    Handle(kRegister);
    SetAutoStop(L"1");
    Handle(InSession(kConnect));
    PassSleeps(5);
    GetParam().arrange(machine);
    return HandleBesideTheTimer(GetParam().request);
  }
};

TEST_P(RefusedBesideATimer, LeavesTheTimerWhichExpiresInItsTime) {
  EXPECT_THAT(Refuse(), testing::StartsWith(GetParam().reply));
  EXPECT_EQ(PhaseAndNode(), GetParam().phase);
  ASSERT_FALSE(server.auto_stop_cancel);
  PassSleeps(4);
  StartStory();
  machine.clock.AdvanceInSteps(1, 100);
  server.auto_stop_thread.join();
  EXPECT_EQ(machine.clock.Sleeps().size(), 10U);
  EXPECT_EQ(machine.Changes(), GetParam().teardown);
  EXPECT_EQ(PhaseAndNode(), "disconnected");
}

TEST_P(RefusedBesideATimer, KeepsTheSession) {
  Refuse();
  EXPECT_EQ(server.session_nonce, "abc");
  EXPECT_EQ(HandleBesideTheTimer(kConnect), kMismatch);
}

// ---- the refusals

void OpenARemoteSession(Machine& machine) { machine.sessions.SetRemoteSession(true); }
void ForceTheGuard(Machine& machine) {
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
}
void OverrideTheGuard(Machine& machine) {
  ForceTheGuard(machine);
  machine.environment.SetProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"0");
}
void DemandAddresses(Machine& machine) {
  machine.environment.SetProcess(L"VELTRANE_POC_ADMIN_BYPASS", L"1");
}
void TakeTheDefaultRouteAtTheStart(Machine& machine) {
  machine.routes.AddInterface(40, L"Veltrane WireGuard");
  machine.services.OnRunning(
      [&machine](const std::wstring&) { machine.routes.Add("0.0.0.0/0", "10.7.3.1", 40, 5); });
}
void LoseTheRouteAtTheStart(Machine& machine) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.services.OnRunning([&machine](const std::wstring&) {
    machine.routes.Remove("203.0.113.5/32");
    machine.FailAlways("CreateForwardRow", 5);
  });
}

std::string Error(const std::string& code) { return R"({"ok":false,"error":")" + code + "\","; }

const Texts kWholeConnection = Steps({kStopsTunnel, kScrubsConf});
const std::string kCatchAllRequest =
    InSession(R"({"op":"connect","node_id":"ams-2","client_private_key":"k",)"
              R"("endpoint_host":"::/0"})");
const std::string kOver = InSession(kConnectElsewhere);

const Refusal kRefusals[] = {
    {"ByAForbiddenWord", Nothing(), R"({"op":"connect","conf_path":"x"})", Error("forbidden_path"),
     "connected fra-1", kWholeConnection},
    {"ByItsOperation", Nothing(), R"({"op":"reconnect"})", Error("unknown_op"), "connected fra-1",
     kWholeConnection},
    {"ByItsSession", Nothing(), kConnectElsewhere, kMismatch, "connected fra-1", kWholeConnection},
    {"ByItsProfile", Nothing(), InSession(R"({"op":"connect","node_id":"ams-2"})"),
     Error("invalid_profile"), "connected fra-1", kWholeConnection},
    {"BecauseOfItsSettings", All({OverrideTheGuard, OpenARemoteSession}), kOver,
     Error("poc_env_read_failed"), "disconnected", kWholeConnection},
    {"ByTheGuard", ForceTheGuard, kCatchAllRequest, Error("poc_route_guard_failed"), "disconnected",
     kWholeConnection},
    {"OverRemoteDesktop", OpenARemoteSession, kOver, Error("poc_route_guard_failed"),
     "disconnected", kWholeConnection},
    {"WithoutBypassRoutes", DemandAddresses, kOver, Error("admin_bypass_failed"), "disconnected",
     kWholeConnection},
    {"BecauseItsFileCannotBeWritten", Failing("MoveFileWithFlags"), kOver,
     Error("config_write_failed"), "disconnected", kWholeConnection},
    // The old tunnel is gone by then, and what is left of the new one is an installed service.
    {"BecauseItsTunnelCannotBeStarted", Failing("Service.Start"), kOver,
     Error("tunnel_start_failed"), "disconnected", kWholeConnection},
    // What was torn down once is torn down again: the scrubbed file is all that is there.
    {"BecauseOfADefaultRoute", All({ForceTheGuard, TakeTheDefaultRouteAtTheStart}), kOver,
     Error("poc_default_route_detected"), "disconnected", kScrubsConf},
    {"BecauseOfALostRoute", LoseTheRouteAtTheStart, kOver, Error("admin_bypass_failed"),
     "disconnected", kScrubsConf}};

INSTANTIATE_TEST_SUITE_P(AConnect, RefusedBesideATimer, testing::ValuesIn(kRefusals),
                         NameOf<Refusal>);

}  // namespace
}  // namespace veltrane
