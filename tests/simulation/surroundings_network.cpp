// The networks around the program, and who comes through them.

#include "tests/simulation/surroundings.h"
#include "tests/simulation/wire.h"

namespace veltrane::simulation {
namespace {

using Texts = std::vector<std::string>;

struct Adapter {
  std::uint32_t index;
  const wchar_t* alias;
  const char* gateway;
};
const std::vector<Adapter> kAdapters = {{12, L"Ethernet", "192.168.1.1"},
                                        {13, L"Wi-Fi", "10.0.0.1"},
                                        {14, L"Corporate Tunnel", "172.16.0.1"}};
const Texts kAdministrators = {"203.0.113.5", "198.51.100.7", "9.9.9.9",
                               "100.64.0.1",  "192.168.1.77", "198.51.100.200"};
// Who comes by Remote Desktop sessions alone.
const Texts kGuests = {"203.0.113.77", "198.18.0.9"};
const std::vector<std::uint32_t> kMetrics = {0, 1, 5, 15, 16, 25, 4294967295};

}  // namespace

void Surroundings::RemoveRoutes(const std::function<bool(const ForwardRow&)>& condition) {
  const std::vector<ForwardRow> rows = machine_.routes.Rows();
  machine_.routes.Clear();
  for (const ForwardRow& row : rows) {
    if (!condition(row)) machine_.routes.Add(row);
  }
}

void Surroundings::AddOnce(const ForwardRow& row) {
  RemoveRoutes([&row](const ForwardRow& other) {
    return other.dest == row.dest && other.mask == row.mask && other.next_hop == row.next_hop &&
           other.interface_index == row.interface_index;
  });
  machine_.routes.Add(row);
}

// What the tunnel library does: an adapter, and a route for each network of AllowedIPs. Now and
// then a pinned route does not survive that.
void Surroundings::BringTunnelUp() {
  machine_.routes.AddInterface(kTunnelInterface, names_tunnel_ ? L"WireGuard active" : L"active");
  std::string conf;
  for (const std::wstring& path : machine_.files.AllFiles()) {
    if (path.ends_with(L"\\active.conf")) conf = *machine_.files.Bytes(path);
  }
  const std::size_t at = conf.find("AllowedIPs = ");
  const std::string networks =
      at == std::string::npos ? "" : conf.substr(at + 13, conf.find('\n', at) - at - 13);
  for (const std::string& network : Addresses(networks)) {
    const std::size_t slash = network.find('/');
    if (slash == std::string::npos || !IsAddress(network.substr(0, slash))) continue;
    const std::string length = network.substr(slash + 1);
    if (length.empty() || length.find_first_not_of("0123456789") != std::string::npos) continue;
    if (length.size() > 2 || std::stoi(length) > 32) continue;
    const bool is_default = std::stoi(length) == 0;
    AddOnce(
        simulated::MakeRoute(is_default ? "0.0.0.0/0" : network, "0.0.0.0", kTunnelInterface, 5));
  }
  if (random_.OneIn(6)) {
    mischief_ = true;
    if (random_.OneIn(2)) {
      ChangeHostRoute();
    } else {
      RemoveRoutes([](const ForwardRow& row) { return row.mask == 0xFFFFFFFF; });
    }
  }
}

std::string Surroundings::ChangeDefaultRoute() {
  const Adapter& adapter = random_.Pick(kAdapters);
  const bool on_link = random_.OneIn(12);
  const ForwardRow row = simulated::MakeRoute("0.0.0.0/0", on_link ? "0.0.0.0" : adapter.gateway,
                                              adapter.index, random_.Pick(kMetrics));
  if (random_.OneIn(3)) {
    RemoveRoutes([&](const ForwardRow& other) {
      return other.mask == 0 && other.interface_index == adapter.index;
    });
    return "the default routes through " + std::to_string(adapter.index) + " go";
  }
  AddOnce(row);
  return "there is " + simulated::RouteText(row);
}

std::string Surroundings::ChangeHostRoute() {
  const std::string destination =
      random_.Pick(random_.OneIn(3) ? kGuests : kAdministrators) + "/32";
  if (random_.OneIn(3)) {
    machine_.routes.Remove(destination);
    return "the routes to " + destination + " go";
  }
  if (random_.OneIn(3)) {
    const std::uint32_t metric = random_.Pick(kMetrics);
    machine_.routes.SetMetric(destination, metric);
    return "the routes to " + destination + " get metric " + std::to_string(metric);
  }
  const Adapter& adapter = random_.Pick(kAdapters);
  const ForwardRow row =
      simulated::MakeRoute(destination, adapter.gateway, adapter.index, random_.Pick(kMetrics));
  AddOnce(row);
  return "there is " + simulated::RouteText(row);
}

std::string Surroundings::ChangeAdapter() {
  const Adapter& adapter = random_.Pick(kAdapters);
  const std::string name = "adapter " + std::to_string(adapter.index);
  switch (random_.Below(4)) {
    case 0:
      RemoveRoutes([&](const ForwardRow& row) { return row.interface_index == adapter.index; });
      machine_.routes.RemoveInterface(adapter.index);
      return name + " goes, with its routes";
    case 1: {
      const std::uint32_t metric = random_.Pick(kMetrics);
      if (random_.OneIn(2)) {
        machine_.routes.SetMetricOfCreatedRows(metric);
        return "new rows get metric " + std::to_string(metric);
      }
      machine_.routes.SetMetricOfCreatedRows(std::nullopt);
      return "new rows get their own metric";
    }
    default:
      machine_.routes.AddInterface(adapter.index, adapter.alias);
      AddOnce(simulated::MakeRoute("0.0.0.0/0", adapter.gateway, adapter.index, 25));
      return name + " comes";
  }
}

std::string Surroundings::ChangeAdministrators() {
  if (random_.OneIn(4)) {
    machine_.connections.Clear();
    return "all connections end";
  }
  const std::string& address = random_.Pick(kAdministrators);
  const auto port = static_cast<std::uint16_t>(random_.OneIn(6) ? 22 : 3389);
  const std::uint32_t state = random_.OneIn(6) ? 8 : 5;
  machine_.connections.Add(state, port, address);
  return address + " connects to port " + std::to_string(port) + ", state " + std::to_string(state);
}

std::string Surroundings::ChangeSession() {
  if (random_.OneIn(4)) {
    const bool remote = !machine_.sessions.IsRemote() && random_.OneIn(3);
    machine_.sessions.SetRemoteSession(remote);
    return remote ? "the program's session is remote" : "the program's session is local";
  }
  if (random_.OneIn(4)) {
    machine_.sessions.Clear();
    return "all sessions end";
  }
  const std::uint32_t id = random_.Below(4);
  const std::string& address = random_.Pick(random_.OneIn(2) ? kGuests : kAdministrators);
  machine_.sessions.AddSession(id, random_.Below(5));
  machine_.sessions.SetClientAddress(id, address);
  if (random_.OneIn(3)) machine_.sessions.SetConsoleSession(random_.OneIn(2) ? id : 0xFFFFFFFF);
  return "session " + std::to_string(id) + " from " + address;
}

}  // namespace veltrane::simulation
