#include "bypass/candidates.h"

#include <gtest/gtest.h>

#include "tests/bypass/on_bypass_machine.h"
#include "tests/bypass/record_texts.h"

namespace veltrane {
namespace {

class BypassCandidate : public OnMachine {
 protected:
  // The entries in the order of the map.
  Strings Entries() const {
    Strings texts;
    for (const auto& [ip, entry] : candidates) texts.push_back(Text(entry));
    return texts;
  }

  BypassCandidateMap candidates;
};

TEST_F(BypassCandidate, IsInsertedUnderItsAddressWithItsSourceAndItsFlag) {
  AddBypassCandidate(candidates, "203.0.113.5", "WTS", false);
  AddBypassCandidate(candidates, "198.51.100.7", "ADMIN_BYPASS_IP", true);
  EXPECT_EQ(Entries(),
            (Strings{"198.51.100.7 ADMIN_BYPASS_IP required", "203.0.113.5 WTS optional"}));
  EXPECT_EQ(candidates.begin()->first, "198.51.100.7");
}

TEST_F(BypassCandidate, ThatIsNotPublicIsDropped) {
  for (const char* ip : {"192.168.1.10", "no-address", ""}) {
    AddBypassCandidate(candidates, ip, "ADMIN_BYPASS_IP", true);
  }
  EXPECT_EQ(Entries(), Strings{});
}

TEST_F(BypassCandidate, SeenAgainKeepsItsSourceAndMayBecomeRequired) {
  AddBypassCandidate(candidates, "203.0.113.5", "WTS", false);
  AddBypassCandidate(candidates, "203.0.113.5", "OTHER", false);
  EXPECT_EQ(Entries(), Strings{"203.0.113.5 WTS optional"});
  AddBypassCandidate(candidates, "203.0.113.5", "RDP_TCP_ESTABLISHED", true);
  EXPECT_EQ(Entries(), Strings{"203.0.113.5 WTS required"});
  AddBypassCandidate(candidates, "203.0.113.5", "OTHER", false);
  EXPECT_EQ(Entries(), Strings{"203.0.113.5 WTS required"});
}

TEST_F(BypassCandidate, OrderIsThatOfTheTextsNotOfTheNumbers) {
  for (const char* ip : {"9.9.9.9", "20.1.1.1", "100.1.1.1", "1.1.1.10", "1.1.1.1", "1.1.1.2"}) {
    AddBypassCandidate(candidates, ip, "WTS", false);
  }
  EXPECT_EQ(Entries(),
            (Strings{"1.1.1.1 WTS optional", "1.1.1.10 WTS optional", "1.1.1.2 WTS optional",
                     "100.1.1.1 WTS optional", "20.1.1.1 WTS optional", "9.9.9.9 WTS optional"}));
}

class BypassCandidates : public OnBypassMachine {
 protected:
  static Strings Collect() { return Texts(CollectBypassCandidates()); }
};

TEST_F(BypassCandidates, AddressOfSeveralSourcesIsLabelledByTheFirstOfThem) {
  EXPECT_EQ(Collect(), Strings{});
  machine.sessions.AddActive(2, "203.0.113.5");
  EXPECT_EQ(Collect(), Strings{"203.0.113.5 WTS optional"});
  for (int i = 0; i < 3; ++i) machine.connections.AddEstablished(3389, "203.0.113.5");
  EXPECT_EQ(Collect(), Strings{"203.0.113.5 RDP_TCP_ESTABLISHED required"});
  SetVariable(L"ADMIN_BYPASS_IPS", L"203.0.113.5");
  EXPECT_EQ(Collect(), Strings{"203.0.113.5 ADMIN_BYPASS_IPS required"});
  SetVariable(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  EXPECT_EQ(Collect(), Strings{"203.0.113.5 ADMIN_BYPASS_IP required"});
}

TEST_F(BypassCandidates, AddressesOfEverySourceAreMergedInTheOrderOfTheTexts) {
  SetVariable(L"ADMIN_BYPASS_IP", L"9.9.9.9");
  SetVariable(L"ADMIN_BYPASS_IPS", L"20.1.1.1");
  machine.connections.AddEstablished(3389, "100.1.1.1");
  machine.sessions.AddActive(2, "1.1.1.1");
  EXPECT_EQ(Collect(),
            (Strings{"1.1.1.1 WTS optional", "100.1.1.1 RDP_TCP_ESTABLISHED required",
                     "20.1.1.1 ADMIN_BYPASS_IPS required", "9.9.9.9 ADMIN_BYPASS_IP required"}));
}

TEST_F(BypassCandidates, TokensOfAnUntidyVariableAreRequired) {
  SetVariable(L"ADMIN_BYPASS_IP", L" 203.0.113.5 ;; 198.51.100.7,\n");
  EXPECT_EQ(Collect(), (Strings{"198.51.100.7 ADMIN_BYPASS_IP required",
                                "203.0.113.5 ADMIN_BYPASS_IP required"}));
}

TEST_F(BypassCandidates, VariablesAreReadInTheMachineAndUserScopesToo) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.environment.SetUser(L"ADMIN_BYPASS_IPS", L"198.51.100.7");
  EXPECT_EQ(Collect(), (Strings{"198.51.100.7 ADMIN_BYPASS_IPS required",
                                "203.0.113.5 ADMIN_BYPASS_IP required"}));
}

TEST_F(BypassCandidates, CarrierGradeNatClientIsACandidateAndPrivateOneIsNot) {
  machine.sessions.AddActive(2, "100.64.0.1");
  machine.sessions.AddActive(3, "172.32.0.1");
  machine.sessions.AddActive(4, "172.31.255.255");
  EXPECT_EQ(Collect(), (Strings{"100.64.0.1 WTS optional", "172.32.0.1 WTS optional"}));
}

TEST_F(BypassCandidates, ConsoleSessionIsAskedFirstAndThenActiveAndConnectedSessionsAsListed) {
  machine.sessions.SetConsoleSession(7);
  machine.sessions.AddSession(5, 1);
  machine.sessions.AddSession(3, 0);
  for (std::uint32_t state = 2; state <= 9; ++state) machine.sessions.AddSession(10, state);
  machine.sessions.AddSession(7, 0);
  machine.sessions.SetClientAddress(7, "203.0.113.5");
  EXPECT_EQ(Collect(), Strings{"203.0.113.5 WTS optional"});
  EXPECT_EQ(machine.calls.Of("ReadClientAddress"),
            (Strings{"ReadClientAddress 7", "ReadClientAddress 5", "ReadClientAddress 3",
                     "ReadClientAddress 7"}));
}

TEST_F(BypassCandidates, ConsoleSessionZeroIsASession) {
  machine.sessions.SetConsoleSession(0);
  machine.sessions.SetClientAddress(0, "203.0.113.5");
  EXPECT_EQ(Collect(), Strings{"203.0.113.5 WTS optional"});
}

TEST_F(BypassCandidates, WithoutConsoleSessionNoneIsAskedForIt) {
  machine.sessions.SetConsoleSession(kNoSession);
  machine.sessions.SetClientAddress(kNoSession, "203.0.113.5");
  EXPECT_EQ(Collect(), Strings{});
  EXPECT_EQ(machine.calls.Count("ReadClientAddress"), 0u);
}

TEST_F(BypassCandidates, WhenSessionsCannotBeListedOnlyTheConsoleCounts) {
  machine.sessions.SetConsoleSession(2);
  machine.sessions.AddActive(2, "203.0.113.5");
  machine.sessions.AddActive(3, "198.51.100.7");
  machine.Fail("ReadSessions", 1, 5);
  EXPECT_EQ(Collect(), Strings{"203.0.113.5 WTS optional"});
}

TEST_F(BypassCandidates, Ipv6ContributesNothing) {
  SetVariable(L"ADMIN_BYPASS_IPS", L"2001:db8::5, ::ffff:203.0.113.5");
  machine.connections.AddEstablishedIpv6(3389, "2001:db8::5", "2001:db8::1");
  machine.connections.AddEstablishedIpv6(3389, "::ffff:203.0.113.5", "::ffff:192.168.1.10");
  machine.sessions.AddSession(2, 0);
  machine.sessions.SetClientAddress(
      2, ClientAddress{.family = 23, .bytes = {0, 0, 203, 0, 113, 5, 1, 1}});
  EXPECT_EQ(Collect(), Strings{});
  EXPECT_EQ(machine.calls.Count("ReadEstablishedConnections"), 0U);
}

TEST_F(BypassCandidates, SourcesThatCannotBeReadDoNotHideTheOthers) {
  SetVariable(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.connections.AddEstablished(3389, "9.9.9.9");
  machine.sessions.AddActive(2, "198.51.100.6");
  machine.sessions.AddActive(3, "198.51.100.7");
  machine.Fail("ReadTcpConnections", 1, 5);
  machine.Fail("ReadClientAddress", 1, 5);
  EXPECT_EQ(Collect(),
            (Strings{"198.51.100.7 WTS optional", "203.0.113.5 ADMIN_BYPASS_IP required"}));
}

TEST_F(BypassCandidates, EverythingIsReadAnewOnEachCallAndNothingIsChanged) {
  SetVariable(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.connections.AddEstablished(3389, "9.9.9.9");
  EXPECT_EQ(Collect(), (Strings{"203.0.113.5 ADMIN_BYPASS_IP required",
                                "9.9.9.9 RDP_TCP_ESTABLISHED required"}));
  SetVariable(L"ADMIN_BYPASS_IP", L"198.51.100.7");
  machine.connections.Clear();
  EXPECT_EQ(Collect(), Strings{"198.51.100.7 ADMIN_BYPASS_IP required"});
  EXPECT_EQ(machine.Changes(), Strings{});
  EXPECT_EQ(LogLines(), Strings{});
}

}  // namespace
}  // namespace veltrane
