// The stage over the simulated machine: connections and routes.

#include "tests/contract/stage_simulated.h"

namespace veltrane::contract {
namespace {

constexpr std::uint32_t kListening = 2;      // MIB_TCP_STATE_LISTEN
constexpr std::uint32_t kHasHungUp = 7;      // MIB_TCP_STATE_FIN_WAIT2
constexpr std::uint32_t kHasBeenHungUp = 8;  // MIB_TCP_STATE_CLOSE_WAIT
constexpr Loopback kPorts{50001, 50002};

}  // namespace

Loopback Stage::Connect() {
  auto& connections = state_->machine.connections;
  connections.AddEstablished(kPorts.server_port, "127.0.0.2", "127.0.0.1");
  connections.AddEstablished(kPorts.client_port, "127.0.0.1", "127.0.0.2");
  return kPorts;
}

std::uint16_t Stage::Listen() {
  state_->machine.connections.Add(kListening, 50003, "0.0.0.0");
  return 50003;
}

Loopback Stage::ConnectAndHangUp() {
  state_->machine.connections.Add(kHasBeenHungUp, kPorts.server_port, "127.0.0.2");
  state_->machine.connections.Add(kHasHungUp, kPorts.client_port, "127.0.0.1");
  return kPorts;
}

std::optional<Loopback> Stage::ConnectIpv6() {
  auto& connections = state_->machine.connections;
  connections.AddEstablishedIpv6(kPorts.server_port, "::1", "::1");
  connections.AddEstablishedIpv6(kPorts.client_port, "::1", "::1");
  state_->machine.routes.AddAdapterAddress("::1", 1);
  return kPorts;
}

std::optional<Loopback> Stage::ConnectIpv6AndHangUp() {
  auto& connections = state_->machine.connections;
  connections.AddIpv6(kHasBeenHungUp, kPorts.server_port, "::1", "::1");
  connections.AddIpv6(kHasHungUp, kPorts.client_port, "::1", "::1");
  return kPorts;
}

std::optional<Loopback> Stage::ConnectToBothFamilies() {
  auto& connections = state_->machine.connections;
  connections.AddEstablishedIpv6(kPorts.server_port, "::ffff:127.0.0.2", "::ffff:127.0.0.1");
  connections.AddEstablished(kPorts.client_port, "127.0.0.1", "127.0.0.2");
  return kPorts;
}

std::optional<LinkLocalLoopback> Stage::ConnectLinkLocal() {
  auto& connections = state_->machine.connections;
  connections.AddEstablishedIpv6(kPorts.server_port, "fe80::10", "fe80::10", 12);
  connections.AddEstablishedIpv6(kPorts.client_port, "fe80::10", "fe80::10", 12);
  return LinkLocalLoopback{kPorts, simulated::Address("fe80::10"), 12};
}

std::optional<Network> Stage::ReadNetwork() {
  auto& routes = state_->machine.routes;
  routes.Add("198.51.100.0/24", "192.168.1.2", 12, 281);
  routes.AddPhysicalNetwork();
  routes.AddInterface(1, L"Loopback Pseudo-Interface 1");
  routes.SetHardware(1, false);
  routes.AddAdapterAddress("127.0.0.1", 1);
  state_->client.interface_metrics[12] = 25;
  return Network{.gateway = simulated::Ip("192.168.1.1"),
                 .interface_index = 12,
                 .own_address = simulated::Ip("192.168.1.10"),
                 .alias = L"Ethernet",
                 .description = L"Intel(R) Ethernet Connection",
                 .interface_metric = 25};
}

std::optional<Ipv6Network> Stage::ReadIpv6Network() {
  auto& routes = state_->machine.routes;
  routes.AddIpv6("::/0", "fe80::1", 12, 256);
  routes.AddIpv6("2001:db8::10/128", "::", 12, 256);
  routes.AddAdapterAddress("2001:db8::10");
  state_->client.ipv6_interface_metrics[12] = 25;
  return Ipv6Network{.gateway = simulated::Address("fe80::1"),
                     .own_address = simulated::Address("2001:db8::10"),
                     .interface_index = 12,
                     .interface_metric = 25};
}

void Stage::RemoveRouteAtEnd(const ForwardRow&) {}

}  // namespace veltrane::contract
