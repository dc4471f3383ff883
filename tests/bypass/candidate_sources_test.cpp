// What each source of candidates yields by itself.

#include <gtest/gtest.h>

#include "bypass/candidates.h"
#include "tests/bypass/on_bypass_machine.h"

namespace veltrane {
namespace {

TEST(SplitAddressList, EachRunOfSeparatorsEndsAToken) {
  EXPECT_EQ(SplitAddressList(""), Strings{});
  EXPECT_EQ(SplitAddressList(", ;\t\r\n"), Strings{});
  EXPECT_EQ(SplitAddressList("203.0.113.5"), Strings{"203.0.113.5"});
  EXPECT_EQ(SplitAddressList("203.0.113.5,198.51.100.7"), (Strings{"203.0.113.5", "198.51.100.7"}));
  EXPECT_EQ(SplitAddressList("a,b;c d\te\rf\ng"), (Strings{"a", "b", "c", "d", "e", "f", "g"}));
  EXPECT_EQ(SplitAddressList(" ,;\t\r\n a ;;,, b \r\n"), (Strings{"a", "b"}));
}

TEST(SplitAddressList, EveryOtherByteBelongsToATokenAndDuplicatesAreKept) {
  EXPECT_EQ(SplitAddressList("a|b/c:d\v\f\xC2\xA0\xFF,e"),
            (Strings{"a|b/c:d\v\f\xC2\xA0\xFF", "e"}));
  EXPECT_EQ(SplitAddressList("x,x,999.1.1.1"), (Strings{"x", "x", "999.1.1.1"}));
}

class AdminEnvIps : public OnBypassMachine {};

TEST_F(AdminEnvIps, AreTheTokensOfBothVariablesAsTheyStand) {
  EXPECT_EQ(ListAdminEnvIps(), Strings{});
  SetVariable(L"ADMIN_BYPASS_IPS", L"9.9.9.9, 192.168.1.10");
  SetVariable(L"ADMIN_BYPASS_IP", L"203.0.113.5;192.168.1.10 192.168.1.10 no-address");
  EXPECT_EQ(ListAdminEnvIps(), (Strings{"203.0.113.5", "192.168.1.10", "192.168.1.10", "no-address",
                                        "9.9.9.9", "192.168.1.10"}));
}

TEST_F(AdminEnvIps, AreThoseOfTheFirstScopeThatIsNotEmptyThoughItHoldsSeparatorsAlone) {
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  machine.environment.SetUser(L"ADMIN_BYPASS_IP", L"9.9.9.9");
  machine.environment.SetUser(L"ADMIN_BYPASS_IPS", L"198.51.100.7");
  EXPECT_EQ(ListAdminEnvIps(), (Strings{"203.0.113.5", "198.51.100.7"}));
  SetVariable(L"ADMIN_BYPASS_IP", L" ");
  EXPECT_EQ(ListAdminEnvIps(), Strings{"198.51.100.7"});
}

class RdpTcpRemoteAddresses : public OnMachine {};

TEST_F(RdpTcpRemoteAddresses, AreListedInTableOrderOnceForEachConnection) {
  EXPECT_EQ(ListRdpTcpRemoteAddresses(), Strings{});
  const Strings peers = {"203.0.113.5", "198.51.100.7", "203.0.113.5", "203.0.113.5"};
  for (const std::string& peer : peers) machine.connections.AddEstablished(3389, peer);
  EXPECT_EQ(ListRdpTcpRemoteAddresses(), peers);
}

TEST_F(RdpTcpRemoteAddresses, OtherStatesAndOtherLocalPortsAreIgnored) {
  for (std::uint32_t state = 0; state <= 13; ++state) {
    if (state != 5) machine.connections.Add(state, 3389, "203.0.113.5");
  }
  for (const std::uint16_t port : std::vector<std::uint16_t>{3388, 3390, 443, 0}) {
    machine.connections.AddEstablished(port, "203.0.113.5");
  }
  EXPECT_EQ(ListRdpTcpRemoteAddresses(), Strings{});
}

TEST_F(RdpTcpRemoteAddresses, PortIsReadInNetworkByteOrderFromTheLowerHalfOfItsField) {
  const std::vector<std::pair<std::uint32_t, const char*>> rows = {
      {0x00003D0D, "203.0.113.5"},   // 3389 swapped
      {0x00000D3D, "198.51.100.7"},  // 15629 swapped
      {0xFFFF3D0D, "198.51.100.8"}};
  for (const auto& [port, peer] : rows) {
    machine.connections.AddRow({.state = 5, .local_port = port, .remote_address = Ip(peer)});
  }
  EXPECT_EQ(ListRdpTcpRemoteAddresses(), (Strings{"203.0.113.5", "198.51.100.8"}));
}

TEST_F(RdpTcpRemoteAddresses, PeersThatAreNotPublicOrCannotBePrintedAreLeftOut) {
  for (const char* peer : {"203.0.113.5", "192.168.1.20", "127.0.0.1", "100.64.0.1"}) {
    machine.connections.AddEstablished(3389, peer);
  }
  machine.Fail("FormatIpv4", 1, 1);
  EXPECT_EQ(ListRdpTcpRemoteAddresses(), Strings{"100.64.0.1"});
}

TEST_F(RdpTcpRemoteAddresses, UnreadableTableYieldsNothing) {
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.Fail("ReadTcpConnections", 1, 5);
  EXPECT_EQ(ListRdpTcpRemoteAddresses(), Strings{});
  EXPECT_EQ(ListRdpTcpRemoteAddresses(), Strings{"203.0.113.5"});
}

class SessionClientAddress : public OnMachine {};

TEST_F(SessionClientAddress, IsMadeOfBytesTwoToFiveOfTheSessionAskedFor) {
  machine.sessions.SetClientAddress(2, "198.51.100.7");
  machine.sessions.SetClientAddress(
      4294967294, ClientAddress{.family = 2, .bytes = {9, 9, 203, 0, 113, 255, 7, 7}});
  EXPECT_EQ(QuerySessionClientAddress(4294967294), "203.0.113.255");
  EXPECT_EQ(QuerySessionClientAddress(3), std::nullopt);
}

TEST_F(SessionClientAddress, OtherFamiliesGiveNone) {
  for (const std::uint32_t family : {0u, 1u, 3u, 23u, 0x10002u}) {
    machine.sessions.SetClientAddress(
        2, ClientAddress{.family = family, .bytes = {0, 0, 203, 0, 113, 5}});
    EXPECT_EQ(QuerySessionClientAddress(2), std::nullopt) << family;
  }
}

TEST_F(SessionClientAddress, AddressThatIsNotPublicGivesNone) {
  for (const char* ip : {"172.31.255.255", "0.0.0.0"}) {
    machine.sessions.SetClientAddress(2, ip);
    EXPECT_EQ(QuerySessionClientAddress(2), std::nullopt) << ip;
  }
}

TEST_F(SessionClientAddress, FailedQueryGivesNone) {
  machine.sessions.SetClientAddress(2, "203.0.113.5");
  machine.Fail("ReadClientAddress", 1, 5);
  EXPECT_EQ(QuerySessionClientAddress(2), std::nullopt);
}

}  // namespace
}  // namespace veltrane
