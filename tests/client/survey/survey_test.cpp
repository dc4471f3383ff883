#include "client/survey/survey.h"

#include <set>

#include "client/forecast/networks.h"
#include "tests/client/on_client_machine.h"

namespace veltrane {
namespace {

using simulated::Address;
using Texts = std::vector<std::string>;

const std::wstring kOwnKey = L"SYSTEM\\CurrentControlSet\\Services\\VeltraneVpnTunnel";
const std::wstring kSystemKey = L"S-1-5-18\\Environment";

const SurveyQuestion kPlain;
const SurveyQuestion kConsoleMode{
    .any_server = true, .allowed_ips = std::nullopt, .address = std::nullopt, .asked = {}};

class SurveyOf : public OnClientMachine {
 protected:
  SurveyOf() { side.interface_metrics[12] = 25; }

  // The addresses that the settings name.
  static Texts SettingAddresses(const SurveyQuestion& question) {
    Texts addresses;
    for (const Subject& subject : SurveyMachine(question).situation.subjects) {
      if (subject.reason == SubjectReason::kSetting) {
        addresses.push_back(AddressText(subject.address));
      }
    }
    return addresses;
  }
};

using Machine = SurveyOf;

TEST_F(Machine, IsSurveyedWhole) {
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.sessions.AddActive(2, "198.51.100.7");
  const Survey survey = SurveyMachine(kPlain);
  const Situation& situation = survey.situation;
  EXPECT_TRUE(survey.all_connections_read);
  EXPECT_EQ(survey.rdp_connections, 1u);
  EXPECT_EQ(survey.remote_sessions, 1u);
  EXPECT_EQ(situation.ipv4_routes.value().size(), 2u);
  EXPECT_EQ(situation.ipv6_routes, std::vector<IpRoute>());
  ASSERT_EQ(situation.interfaces.size(), 1u);
  EXPECT_EQ(situation.interfaces[0].index, 12u);
  EXPECT_EQ(situation.interfaces[0].ipv4_metric, 25u);
  EXPECT_EQ(situation.own_addresses,
            (std::vector<OwnAddress>{{.address = Address("192.168.1.10"), .interface_index = 12}}));
  EXPECT_EQ(situation.gateway, (Way{.interface_index = 12, .next_hop = Address("192.168.1.1")}));
  EXPECT_EQ(situation.tunnel_today, TunnelToday::kNone);
  EXPECT_EQ(situation.tunnel_interface, std::nullopt);
  EXPECT_EQ(situation.rdp_peers, std::vector<IpAddress>{Address("203.0.113.5")});
  EXPECT_EQ(situation.session_clients, std::vector<IpAddress>{Address("198.51.100.7")});
  EXPECT_TRUE(situation.all_sessions_read);
  EXPECT_EQ(situation.worlds.size(), 1u);
  EXPECT_EQ(situation.allowed_ips, std::nullopt);
  EXPECT_EQ(situation.address, std::nullopt);
  EXPECT_EQ(situation.subjects.size(), 2u);
}

TEST_F(Machine, IsNotChanged) {
  machine.connections.AddEstablished(3389, "203.0.113.5");
  SurveyMachine(kPlain);
  EXPECT_EQ(machine.Changes(), Texts());
}

TEST_F(Machine, IsSurveyedForAProfileAndForAddresses) {
  const Situation situation = SurveyMachine({.any_server = false,
                                             .allowed_ips = "10.66.66.0/24",
                                             .address = "10.66.66.7/32",
                                             .asked = {Address("2001:db8::5")}})
                                  .situation;
  EXPECT_EQ(situation.allowed_ips, "10.66.66.0/24");
  EXPECT_EQ(situation.address, "10.66.66.7/32");
  EXPECT_EQ(situation.subjects, (std::vector<Subject>{{.address = Address("2001:db8::5"),
                                                       .reason = SubjectReason::kAsked,
                                                       .local = std::nullopt,
                                                       .scope_id = 0}}));
}

TEST_F(Machine, IsSurveyedForAPrompt) {
  const Subject prompt{.address = Address("203.0.113.5"),
                       .reason = SubjectReason::kSshConnection,
                       .local = Address("192.168.1.10")};
  SurveyQuestion question;
  question.prompt = {prompt};
  EXPECT_EQ(SurveyMachine(question).situation.subjects, std::vector<Subject>{prompt});
}

TEST_F(Machine, HasTwoConnectionsOfOnePeer) {
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.connections.AddEstablished(3389, "203.0.113.5");
  const Survey survey = SurveyMachine(kPlain);
  EXPECT_EQ(survey.rdp_connections, 2u);
  EXPECT_EQ(survey.situation.subjects.size(), 1u);
}

TEST_F(Machine, HasATunnelUp) {
  machine.services.Add(L"VeltraneVpnTunnel$Active", simulated::kRunning);
  machine.routes.AddInterface(20, L"active");
  machine.routes.AddAdapterAddress("10.66.66.7", 20);
  const Situation situation = SurveyMachine(kPlain).situation;
  EXPECT_EQ(situation.tunnel_today, TunnelToday::kUp);
  EXPECT_EQ(situation.tunnel_interface, 20u);
}

using UnreadablePiece = SurveyOf;

TEST_F(UnreadablePiece, MayBeTheIpv4Table) {
  machine.FailAlways("ReadForwardTable", 5);
  const Situation situation = SurveyMachine(kPlain).situation;
  EXPECT_EQ(situation.ipv4_routes, std::nullopt);
  EXPECT_EQ(situation.interfaces.size(), 1u);
}

TEST_F(UnreadablePiece, MayBeTheListOfSessions) {
  machine.FailAlways("ReadSessions", 5);
  EXPECT_FALSE(SurveyMachine(kPlain).all_connections_read);
}

TEST_F(UnreadablePiece, MayBeTheIpv6Table) {
  machine.FailAlways("ReadIpv6Routes", 5);
  EXPECT_EQ(SurveyMachine(kPlain).situation.ipv6_routes, std::nullopt);
}

TEST_F(UnreadablePiece, MayBeTheOwnAddresses) {
  machine.FailAlways("ReadOwnAddresses", 5);
  EXPECT_EQ(SurveyMachine(kPlain).situation.own_addresses, std::nullopt);
}

TEST_F(UnreadablePiece, MayBeTheGateway) {
  machine.FailAlways("FindBestRoute", 1232);
  EXPECT_EQ(SurveyMachine(kPlain).situation.gateway, std::nullopt);
}

TEST_F(UnreadablePiece, MayBeTheTunnelService) {
  side.service_facts_error = 5;
  EXPECT_EQ(SurveyMachine(kPlain).situation.tunnel_today, TunnelToday::kUnknown);
}

TEST_F(UnreadablePiece, MayBeTheConnections) {
  machine.FailAlways("ReadEstablishedConnections", 5);
  const Survey survey = SurveyMachine(kPlain);
  EXPECT_FALSE(survey.all_connections_read);
  EXPECT_EQ(survey.situation.rdp_peers, std::nullopt);
}

TEST_F(UnreadablePiece, MayBeTheSessions) {
  machine.FailAlways("ReadSessions", 5);
  EXPECT_FALSE(SurveyMachine(kPlain).situation.all_sessions_read);
}

TEST_F(UnreadablePiece, MayBeTheSettings) {
  InstallService(simulated::kRunning);
  machine.FailAlways("ReadProcessStart", 5);
  std::set<std::pair<bool, bool>> combinations;
  for (const World& world : SurveyMachine(kPlain).situation.worlds) {
    combinations.insert({world.guard, world.bypass});
  }
  EXPECT_EQ(combinations, (std::set<std::pair<bool, bool>>{
                              {false, false}, {false, true}, {true, false}, {true, true}}));
}

using AddressesOfSettings = SurveyOf;

TEST_F(AddressesOfSettings, AreThoseOfBothListsInTheirOrder) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IPS", L"203.0.113.6,203.0.113.7");
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  EXPECT_EQ(SettingAddresses(kPlain), (Texts{"203.0.113.5", "203.0.113.6", "203.0.113.7"}));
}

TEST_F(AddressesOfSettings, AreThoseOfTheKnownValueAlone) {
  machine.registry.SetTexts(kOwnKey, L"Environment", {L"ADMIN_BYPASS_IP=203.0.113.5"});
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.6");
  EXPECT_EQ(SettingAddresses(kPlain), Texts{"203.0.113.5"});
}

TEST_F(AddressesOfSettings, AreThoseOfEveryValueThatIsSeenWhenItIsNotKnown) {
  InstallService(simulated::kRunning);
  machine.FailAlways("ReadProcessStart", 5);
  machine.registry.SetTexts(kOwnKey, L"Environment", {L"ADMIN_BYPASS_IP=203.0.113.5"});
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.6");
  machine.registry.SetText(RegistryRoot::kUsers, kSystemKey, L"ADMIN_BYPASS_IP", L"203.0.113.7");
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.8");
  machine.environment.SetUser(L"ADMIN_BYPASS_IP", L"203.0.113.9");
  EXPECT_EQ(SettingAddresses(kPlain), (Texts{"203.0.113.5", "203.0.113.6", "203.0.113.7"}));
}

TEST_F(AddressesOfSettings, AreThoseOfThisProcessInConsoleMode) {
  machine.registry.SetTexts(kOwnKey, L"Environment", {L"ADMIN_BYPASS_IP=203.0.113.5"});
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.8");
  machine.environment.SetUser(L"ADMIN_BYPASS_IPS", L"203.0.113.9");
  EXPECT_EQ(SettingAddresses(kConsoleMode), (Texts{"203.0.113.8", "203.0.113.9"}));
}

using Worlds = SurveyOf;

TEST_F(Worlds, AreThoseOfTheRegisteredService) {
  machine.sessions.SetRemoteSession(true);
  machine.environment.SetProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  const std::vector<World> worlds = SurveyMachine(kPlain).situation.worlds;
  ASSERT_EQ(worlds.size(), 1u);
  EXPECT_FALSE(worlds[0].guard);
  EXPECT_FALSE(worlds[0].in_remote_session);
}

TEST_F(Worlds, AreThoseOfThisProcessInConsoleMode) {
  machine.sessions.SetRemoteSession(true);
  machine.environment.SetProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  const std::vector<World> worlds = SurveyMachine(kConsoleMode).situation.worlds;
  ASSERT_EQ(worlds.size(), 1u);
  EXPECT_TRUE(worlds[0].guard);
  EXPECT_TRUE(worlds[0].in_remote_session);
}

}  // namespace
}  // namespace veltrane
