// What each source of candidates yields by itself.

#include <gtest/gtest.h>

#include "bypass/candidates.h"
#include "tests/bypass/on_bypass_machine.h"

namespace veltrane {
namespace {

TEST(SplitAddressList, EveryKindOfSeparatorSplits) {
  EXPECT_EQ(SplitAddressList("a,b;c d\te\rf\ng"), (Strings{"a", "b", "c", "d", "e", "f", "g"}));
}

TEST(SplitAddressList, RunsOfSeparatorsYieldNoEmptyTokens) {
  EXPECT_EQ(SplitAddressList(" ,;\t\r\n a ;;,, b \r\n"), (Strings{"a", "b"}));
}

TEST(SplitAddressList, LastTokenNeedsNoSeparator) {
  EXPECT_EQ(SplitAddressList("203.0.113.5,198.51.100.7"), (Strings{"203.0.113.5", "198.51.100.7"}));
}

TEST(SplitAddressList, TextOfOneTokenIsThatToken) {
  EXPECT_EQ(SplitAddressList("203.0.113.5"), Strings{"203.0.113.5"});
}

TEST(SplitAddressList, EmptyTextAndSeparatorsAloneYieldNothing) {
  EXPECT_EQ(SplitAddressList(""), Strings{});
  EXPECT_EQ(SplitAddressList(", ;\t\r\n"), Strings{});
}

TEST(SplitAddressList, EveryOtherByteBelongsToAToken) {
  EXPECT_EQ(SplitAddressList("a|b/c:d\v\f\xC2\xA0\xFF,e"),
            (Strings{"a|b/c:d\v\f\xC2\xA0\xFF", "e"}));
}

TEST(SplitAddressList, DuplicatesAndMalformedTokensAreKept) {
  EXPECT_EQ(SplitAddressList("x,x,999.1.1.1"), (Strings{"x", "x", "999.1.1.1"}));
}

class AdminEnvIps : public OnMachine {};

TEST_F(AdminEnvIps, TokensOfTheFirstVariableComeBeforeThoseOfTheSecond) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IPS", L"9.9.9.9, 8.8.8.8");
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.5;198.51.100.7");
  EXPECT_EQ(ListAdminEnvIps(), (Strings{"203.0.113.5", "198.51.100.7", "9.9.9.9", "8.8.8.8"}));
}

TEST_F(AdminEnvIps, PrivateMalformedAndRepeatedTokensAreListedAsTheyStand) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"192.168.1.10 192.168.1.10 no-address");
  machine.environment.SetProcess(L"ADMIN_BYPASS_IPS", L"192.168.1.10");
  EXPECT_EQ(ListAdminEnvIps(),
            (Strings{"192.168.1.10", "192.168.1.10", "no-address", "192.168.1.10"}));
}

TEST_F(AdminEnvIps, EachVariableIsTheFirstScopeThatIsNotEmpty) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.environment.SetUser(L"ADMIN_BYPASS_IP", L"9.9.9.9");
  machine.environment.SetUser(L"ADMIN_BYPASS_IPS", L"198.51.100.7");
  EXPECT_EQ(ListAdminEnvIps(), (Strings{"203.0.113.5", "198.51.100.7"}));
}

TEST_F(AdminEnvIps, ScopeWithSeparatorsAloneStillHidesTheNextScope) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L" ");
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  EXPECT_EQ(ListAdminEnvIps(), Strings{});
}

TEST_F(AdminEnvIps, UnsetVariablesYieldNothing) { EXPECT_EQ(ListAdminEnvIps(), Strings{}); }

class RdpTcpRemoteAddresses : public OnMachine {};

TEST_F(RdpTcpRemoteAddresses, AreListedInTableOrderOnceForEachConnection) {
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.connections.AddEstablished(3389, "198.51.100.7");
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.connections.AddEstablished(3389, "203.0.113.5");
  EXPECT_EQ(ListRdpTcpRemoteAddresses(),
            (Strings{"203.0.113.5", "198.51.100.7", "203.0.113.5", "203.0.113.5"}));
}

TEST_F(RdpTcpRemoteAddresses, ConnectionsInEveryOtherStateAreIgnored) {
  for (std::uint32_t state = 0; state <= 13; ++state) {
    if (state != 5) machine.connections.Add(state, 3389, "203.0.113.5");
  }
  EXPECT_EQ(ListRdpTcpRemoteAddresses(), Strings{});
}

TEST_F(RdpTcpRemoteAddresses, OtherLocalPortsAreIgnored) {
  machine.connections.AddEstablished(3388, "203.0.113.5");
  machine.connections.AddEstablished(3390, "203.0.113.5");
  machine.connections.AddEstablished(443, "203.0.113.5");
  machine.connections.AddEstablished(0, "203.0.113.5");
  EXPECT_EQ(ListRdpTcpRemoteAddresses(), Strings{});
}

TEST_F(RdpTcpRemoteAddresses, PortFieldIsReadInNetworkByteOrder) {
  machine.connections.AddRow(
      {.state = 5, .local_port = 0x3D0D, .remote_address = Ip("203.0.113.5")});  // 3389 swapped
  machine.connections.AddRow(
      {.state = 5, .local_port = 0x0D3D, .remote_address = Ip("198.51.100.7")});  // 15629 swapped
  EXPECT_EQ(ListRdpTcpRemoteAddresses(), Strings{"203.0.113.5"});
}

TEST_F(RdpTcpRemoteAddresses, UpperHalfOfThePortFieldIsIgnored) {
  machine.connections.Add(5, 3389, "203.0.113.5", 0x0000);
  machine.connections.Add(5, 3389, "198.51.100.7", 0xFFFF);
  EXPECT_EQ(ListRdpTcpRemoteAddresses(), (Strings{"203.0.113.5", "198.51.100.7"}));
}

TEST_F(RdpTcpRemoteAddresses, PeersThatAreNotPublicAreLeftOut) {
  machine.connections.AddEstablished(3389, "192.168.1.20");
  machine.connections.AddEstablished(3389, "127.0.0.1");
  machine.connections.AddEstablished(3389, "100.64.0.1");
  EXPECT_EQ(ListRdpTcpRemoteAddresses(), Strings{"100.64.0.1"});
}

TEST_F(RdpTcpRemoteAddresses, PeerThatCannotBePrintedIsLeftOut) {
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.connections.AddEstablished(3389, "198.51.100.7");
  machine.Fail("FormatIpv4", 1, 1);
  EXPECT_EQ(ListRdpTcpRemoteAddresses(), Strings{"198.51.100.7"});
}

TEST_F(RdpTcpRemoteAddresses, UnreadableTableYieldsNothing) {
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.Fail("ReadTcpConnections", 1, 5);
  EXPECT_EQ(ListRdpTcpRemoteAddresses(), Strings{});
  EXPECT_EQ(ListRdpTcpRemoteAddresses(), Strings{"203.0.113.5"});
}

TEST_F(RdpTcpRemoteAddresses, EmptyTableYieldsNothing) {
  EXPECT_EQ(ListRdpTcpRemoteAddresses(), Strings{});
}

class SessionClientAddress : public OnMachine {};

TEST_F(SessionClientAddress, IsMadeOfBytesTwoToFive) {
  machine.sessions.SetClientAddress(
      2, ClientAddress{.family = 2, .bytes = {9, 9, 203, 0, 113, 255, 7, 7}});
  EXPECT_EQ(QuerySessionClientAddress(2), "203.0.113.255");
}

TEST_F(SessionClientAddress, IsTheAddressOfTheSessionAskedFor) {
  machine.sessions.SetClientAddress(2, "203.0.113.5");
  machine.sessions.SetClientAddress(4294967294, "198.51.100.7");
  EXPECT_EQ(QuerySessionClientAddress(4294967294), "198.51.100.7");
}

TEST_F(SessionClientAddress, OtherFamiliesGiveNone) {
  for (const std::uint32_t family : {0u, 1u, 3u, 23u, 0x10002u}) {
    machine.sessions.SetClientAddress(
        2, ClientAddress{.family = family, .bytes = {0, 0, 203, 0, 113, 5}});
    EXPECT_EQ(QuerySessionClientAddress(2), std::nullopt) << family;
  }
}

TEST_F(SessionClientAddress, AddressThatIsNotPublicGivesNone) {
  machine.sessions.SetClientAddress(2, "172.31.255.255");
  EXPECT_EQ(QuerySessionClientAddress(2), std::nullopt);
  machine.sessions.SetClientAddress(2, "0.0.0.0");
  EXPECT_EQ(QuerySessionClientAddress(2), std::nullopt);
}

TEST_F(SessionClientAddress, CarrierGradeNatAndTheAddressAfterThePrivateRangeCount) {
  machine.sessions.SetClientAddress(2, "100.64.0.1");
  EXPECT_EQ(QuerySessionClientAddress(2), "100.64.0.1");
  machine.sessions.SetClientAddress(2, "172.32.0.1");
  EXPECT_EQ(QuerySessionClientAddress(2), "172.32.0.1");
}

TEST_F(SessionClientAddress, FailedQueryGivesNone) {
  machine.sessions.SetClientAddress(2, "203.0.113.5");
  machine.Fail("ReadClientAddress", 1, 5);
  EXPECT_EQ(QuerySessionClientAddress(2), std::nullopt);
}

TEST_F(SessionClientAddress, SessionWithoutClientGivesNone) {
  EXPECT_EQ(QuerySessionClientAddress(2), std::nullopt);
}

}  // namespace
}  // namespace veltrane
