#include "client/survey/rdp.h"

#include "tests/client/on_client_machine.h"

namespace veltrane {
namespace {

using simulated::Address;
using Addresses = std::vector<IpAddress>;
using Ports = std::set<std::uint32_t>;

const std::wstring kListeners = L"SYSTEM\\CurrentControlSet\\Control\\Terminal Server\\WinStations";

class RemoteDesktop : public OnClientMachine {
 protected:
  void SetPort(const std::wstring& listener, std::uint32_t port) {
    machine.registry.SetNumber(RegistryRoot::kLocalMachine, kListeners + L"\\" + listener,
                               L"PortNumber", port);
  }

  static Addresses Remotes() {
    Addresses remotes;
    for (const IpConnection& each : SurveyRdpConnections().connections) {
      remotes.push_back(each.remote);
    }
    return remotes;
  }
};

using RemoteDesktopPorts = RemoteDesktop;

TEST_F(RemoteDesktopPorts, AreThatOfTheListenerOfAnOrdinaryMachine) {
  EXPECT_EQ(ReadRdpPorts().ports, Ports{3389});
  EXPECT_TRUE(ReadRdpPorts().complete);
}

TEST_F(RemoteDesktopPorts, AreThoseOfAllListeners) {
  SetPort(L"RDP-Second", 3390);
  SetPort(L"RDP-Third", 65535);
  EXPECT_EQ(ReadRdpPorts().ports, (Ports{3389, 3390, 65535}));
  EXPECT_TRUE(ReadRdpPorts().complete);
}

// A listener keeps its port until it is restarted, and the service pins the peers of this one.
TEST_F(RemoteDesktopPorts, Include3389WhenTheListenerHasAnotherOne) {
  SetPort(L"RDP-Tcp", 3390);
  EXPECT_EQ(ReadRdpPorts().ports, (Ports{3389, 3390}));
}

TEST_F(RemoteDesktopPorts, DoNotIncludeNumbersThatAreNotPorts) {
  SetPort(L"RDP-Tcp", 0);
  SetPort(L"RDP-Second", 65536);
  EXPECT_EQ(ReadRdpPorts().ports, Ports{3389});
  EXPECT_TRUE(ReadRdpPorts().complete);
}

TEST_F(RemoteDesktopPorts, Are3389WithoutListeners) {
  machine.registry.RemoveKey(RegistryRoot::kLocalMachine, kListeners);
  EXPECT_EQ(ReadRdpPorts().ports, Ports{3389});
  EXPECT_TRUE(ReadRdpPorts().complete);
}

TEST_F(RemoteDesktopPorts, AreNotCompleteWhenTheListenersCannotBeListed) {
  machine.FailAlways("ListRegistryKeys", 5);
  EXPECT_EQ(ReadRdpPorts().ports, Ports{3389});
  EXPECT_FALSE(ReadRdpPorts().complete);
}

TEST_F(RemoteDesktopPorts, AreNotCompleteWhenThatOfAListenerCannotBeRead) {
  SetPort(L"RDP-Second", 3390);
  machine.FailWhere("ReadRegistryNumber", "RDP-Tcp", 5);
  EXPECT_EQ(ReadRdpPorts().ports, (Ports{3389, 3390}));
  EXPECT_FALSE(ReadRdpPorts().complete);
}

TEST_F(RemoteDesktopPorts, AreNotCompleteWhenThatOfAListenerIsNotANumber) {
  machine.registry.SetText(RegistryRoot::kLocalMachine, kListeners + L"\\RDP-Second", L"PortNumber",
                           L"3390");
  EXPECT_FALSE(ReadRdpPorts().complete);
}

using RemoteDesktopConnections = RemoteDesktop;

TEST_F(RemoteDesktopConnections, HaveBothTheirEnds) {
  machine.connections.AddEstablished(3389, "203.0.113.5", "192.168.1.10");
  EXPECT_EQ(SurveyRdpConnections().connections,
            (std::vector<IpConnection>{{.local = Address("192.168.1.10"),
                                        .local_port = 3389,
                                        .remote = Address("203.0.113.5"),
                                        .scope_id = 0}}));
}

TEST_F(RemoteDesktopConnections, AreOfBothFamiliesAndComplete) {
  machine.connections.AddEstablishedIpv6(3389, "2001:db8::5", "2001:db8::10");
  machine.connections.AddEstablished(3389, "203.0.113.5");
  EXPECT_EQ(Remotes(), (Addresses{Address("203.0.113.5"), Address("2001:db8::5")}));
  EXPECT_TRUE(SurveyRdpConnections().complete);
}

TEST_F(RemoteDesktopConnections, AreToThePortsOfTheListenersAlone) {
  SetPort(L"RDP-Second", 3390);
  machine.connections.AddEstablished(22, "203.0.113.4");
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.connections.AddEstablished(3390, "203.0.113.6");
  machine.connections.AddEstablishedIpv6(3390, "2001:db8::6", "2001:db8::10");
  machine.connections.AddEstablishedIpv6(3391, "2001:db8::7", "2001:db8::10");
  EXPECT_EQ(Remotes(),
            (Addresses{Address("203.0.113.5"), Address("203.0.113.6"), Address("2001:db8::6")}));
}

TEST_F(RemoteDesktopConnections, KeepTheScopeOfALinkLocalAddress) {
  machine.connections.AddEstablishedIpv6(3389, "fe80::5", "fe80::10", 12);
  EXPECT_EQ(SurveyRdpConnections().connections.at(0).scope_id, 12u);
}

TEST_F(RemoteDesktopConnections, AreNotCompleteWhenThoseOfIpv4CannotBeRead) {
  machine.connections.AddEstablishedIpv6(3389, "2001:db8::5", "2001:db8::10");
  machine.FailWhere("ReadEstablishedConnections", "IPv4", 5);
  EXPECT_EQ(Remotes(), Addresses{Address("2001:db8::5")});
  EXPECT_FALSE(SurveyRdpConnections().complete);
  EXPECT_EQ(SurveyRdpConnections().service_peers, std::nullopt);
}

TEST_F(RemoteDesktopConnections, AreNotCompleteWhenThoseOfIpv6CannotBeRead) {
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.FailWhere("ReadEstablishedConnections", "IPv6", 5);
  EXPECT_EQ(Remotes(), Addresses{Address("203.0.113.5")});
  EXPECT_FALSE(SurveyRdpConnections().complete);
  EXPECT_EQ(SurveyRdpConnections().service_peers, Addresses{Address("203.0.113.5")});
}

TEST_F(RemoteDesktopConnections, AreNotCompleteWhenThePortsAreNot) {
  machine.FailAlways("ListRegistryKeys", 5);
  EXPECT_FALSE(SurveyRdpConnections().complete);
}

using ServicePeers = RemoteDesktop;

TEST_F(ServicePeers, AreThePeersOfPort3389OverIpv4) {
  SetPort(L"RDP-Second", 3390);
  machine.connections.AddEstablished(3390, "203.0.113.6");
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.connections.AddEstablished(3389, "192.168.1.77");
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.connections.AddEstablishedIpv6(3389, "2001:db8::5", "2001:db8::10");
  EXPECT_EQ(SurveyRdpConnections().service_peers,
            (Addresses{Address("203.0.113.5"), Address("192.168.1.77")}));
}

// The service reads the connections of IPv4 sockets.
TEST_F(ServicePeers, DoNotIncludeAnIpv4PeerOfAnIpv6Socket) {
  machine.connections.AddEstablishedIpv6(3389, "::ffff:203.0.113.5", "::ffff:192.168.1.10");
  EXPECT_EQ(Remotes(), Addresses{Address("203.0.113.5")});
  EXPECT_EQ(SurveyRdpConnections().service_peers, Addresses());
}

using ClientsOfSessions = RemoteDesktop;

TEST_F(ClientsOfSessions, AreThoseOfActiveAndConnectedSessions) {
  machine.sessions.AddActive(2, "203.0.113.5");
  machine.sessions.AddSession(3, 1);
  machine.sessions.SetClientAddress(3, "192.168.7.7");
  machine.sessions.AddSession(4, 4);
  machine.sessions.SetClientAddress(4, "203.0.113.7");
  const SessionClients sessions = SurveySessionClients();
  EXPECT_EQ(sessions.clients, (Addresses{Address("203.0.113.5"), Address("192.168.7.7")}));
  EXPECT_TRUE(sessions.complete);
}

TEST_F(ClientsOfSessions, IncludeThatOfTheConsole) {
  machine.sessions.SetConsoleSession(1);
  machine.sessions.SetClientAddress(1, "203.0.113.5");
  EXPECT_EQ(SurveySessionClients().clients, Addresses{Address("203.0.113.5")});
}

TEST_F(ClientsOfSessions, AreNoneAndCompleteForAUserAtTheConsole) {
  machine.sessions.SetConsoleSession(1);
  machine.sessions.AddSession(1, 0);
  machine.sessions.SetClientAddress(1, ClientAddress{});
  EXPECT_EQ(SurveySessionClients().clients, Addresses());
  EXPECT_TRUE(SurveySessionClients().complete);
}

TEST_F(ClientsOfSessions, AreOfIpv4Alone) {
  machine.sessions.AddSession(2, 0);
  machine.sessions.SetClientAddress(2, ClientAddress{.family = 23, .bytes = {}});
  EXPECT_EQ(SurveySessionClients().clients, Addresses());
  EXPECT_TRUE(SurveySessionClients().complete);
}

TEST_F(ClientsOfSessions, AreNamedOnce) {
  machine.sessions.AddActive(2, "203.0.113.5");
  machine.sessions.AddActive(3, "203.0.113.5");
  EXPECT_EQ(SurveySessionClients().clients, Addresses{Address("203.0.113.5")});
}

TEST_F(ClientsOfSessions, DoNotIncludeTheUnspecifiedAddress) {
  machine.sessions.AddActive(2, "0.0.0.0");
  EXPECT_EQ(SurveySessionClients().clients, Addresses());
}

using RemoteSessions = RemoteDesktop;

TEST_F(RemoteSessions, AreThoseThatAreActiveWithoutBeingTheConsoles) {
  machine.sessions.SetConsoleSession(1);
  machine.sessions.AddSession(0, 4);  // of the services
  machine.sessions.AddSession(1, 0);
  machine.sessions.AddSession(2, 0);
  machine.sessions.AddSession(3, 1);  // nobody has signed in yet
  machine.sessions.AddSession(4, 4);
  machine.sessions.AddSession(5, 0);
  machine.sessions.AddSession(65536, 6);  // the listener
  EXPECT_EQ(SurveySessionClients().remote, 2u);
}

TEST_F(RemoteSessions, AreAllThatAreActiveWithoutAConsole) {
  machine.sessions.AddSession(1, 0);
  EXPECT_EQ(SurveySessionClients().remote, 1u);
}

TEST_F(RemoteSessions, AreCountedWhetherOrNotTheirClientsAreKnown) {
  machine.sessions.AddActive(2, "203.0.113.5");
  machine.FailAlways("ReadClientAddress", 5);
  EXPECT_EQ(SurveySessionClients().remote, 1u);
}

TEST_F(RemoteSessions, AreUnknownWhenTheSessionsCannotBeListed) {
  machine.FailAlways("ReadSessions", 5);
  EXPECT_EQ(SurveySessionClients().remote, std::nullopt);
}

TEST_F(ClientsOfSessions, AreNotCompleteWhenThatOfASessionCannotBeRead) {
  machine.sessions.AddActive(2, "203.0.113.5");
  machine.sessions.AddActive(3, "203.0.113.6");
  machine.FailWhere("ReadClientAddress", "2", 5);
  EXPECT_EQ(SurveySessionClients().clients, Addresses{Address("203.0.113.6")});
  EXPECT_FALSE(SurveySessionClients().complete);
}

TEST_F(ClientsOfSessions, AreNotCompleteWhenTheSessionsCannotBeListed) {
  machine.sessions.SetConsoleSession(1);
  machine.sessions.SetClientAddress(1, "203.0.113.5");
  machine.FailAlways("ReadSessions", 5);
  EXPECT_EQ(SurveySessionClients().clients, Addresses{Address("203.0.113.5")});
  EXPECT_FALSE(SurveySessionClients().complete);
}

}  // namespace
}  // namespace veltrane
