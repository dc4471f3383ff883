#include "tests/simulation/surroundings.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "tests/simulation/wire.h"

namespace veltrane::simulation {
namespace {

using Texts = std::vector<std::string>;
using WideTexts = std::vector<std::wstring>;

constexpr wchar_t kTunnel[] = L"VeltraneVpnTunnel$Active";
constexpr std::uint32_t kTunnelInterface = 20;

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
const std::vector<std::uint32_t> kMetrics = {0, 1, 5, 15, 16, 25, 4294967295};

const WideTexts kNames = {L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE",
                          L"VELTRANE_POC_AUTO_STOP_SECONDS",
                          L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
                          L"ADMIN_BYPASS_IP",
                          L"ADMIN_BYPASS_IPS",
                          L"VELTRANE_POC_ADMIN_BYPASS"};
const std::vector<WideTexts> kValues = {
    {L"", L"0", L"1", L"true", L"On", L"off"},
    {L"", L"0", L"1", L"2", L"3", L"-5", L"x", L"2s", L"99999999999"},
    {L"", L"", L"", L"1", L"no"},
    {L"", L"203.0.113.5", L"198.51.100.7; 203.0.113.5", L"192.168.1.10", L"words, 1.2.3.4.5"},
    {L"", L"9.9.9.9,100.64.0.1", L"198.51.100.200"},
    {L"", L"", L"", L"1", L"0", L"YES", L"sixteen-or-longer"}};

std::string Text(const std::wstring& wide) { return simulated::Narrow(wide); }

}  // namespace

Surroundings::Surroundings(simulated::Machine& machine, Random& random)
    : machine_(machine), random_(random) {
  machine_.routes.AddPhysicalNetwork();
  machine_.routes.AddAdapterAddress("198.51.100.200");
  names_tunnel_ = random_.OneIn(4);
  for (const WideTexts& values : kValues) {
    const std::uint32_t seldom = random_.Pick(std::initializer_list<std::uint32_t>{0, 1, 1, 4});
    habits_.push_back({seldom, random_.Pick(values)});
  }
  machine_.services.OnRunning([this](const std::wstring& name) {
    if (name == kTunnel) BringTunnelUp();
  });
  machine_.services.OnStopped([this](const std::wstring& name) {
    if (name != kTunnel) return;
    RemoveRoutes([](const ForwardRow& row) { return row.interface_index == kTunnelInterface; });
    machine_.routes.RemoveInterface(kTunnelInterface);
  });
}

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
    ChangeHostRoute();
  }
}

bool Surroundings::TakeMischief() { return std::exchange(mischief_, false); }

std::string Surroundings::MakeEnvironment() {
  std::string told;
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    machine_.environment.UnsetProcess(kNames[i]);
    if (!random_.OneIn(habits_[i].seldom)) continue;
    const std::wstring value = random_.OneIn(3) ? random_.Pick(kValues[i]) : habits_[i].favourite;
    machine_.environment.SetProcess(kNames[i], value);
    told += " " + Text(kNames[i]) + "=" + Text(value);
  }
  machine_.environment.SetProcess(L"ProgramData",
                                  random_.OneIn(8) ? L"C:\\Data" : L"C:\\ProgramData");
  return told;
}

void Surroundings::Restart() {
  RemoveRoutes([](const ForwardRow& row) {
    return row.mask == 0xFFFFFFFF || row.interface_index == kTunnelInterface;
  });
  if (const auto tunnel = machine_.services.Find(kTunnel)) {
    machine_.services.SetState(kTunnel, simulated::kStopped);
  }
  if (holds_service_ && machine_.services.Find(kTunnel)) machine_.services.ReleaseHandle(kTunnel);
  holds_service_ = false;
}

bool Surroundings::HasOddServices() const {
  const auto tunnel = machine_.services.Find(kTunnel);
  const bool settled =
      !tunnel || (!tunnel->marked_for_delete &&
                  (tunnel->state == simulated::kStopped || tunnel->state == simulated::kRunning));
  return odd_modes_ || holds_service_ || !settled;
}

std::string Surroundings::Happen() {
  switch (random_.Below(12)) {
    case 0:
    case 1:
      return ChangeDefaultRoute();
    case 2:
    case 3:
      return ChangeHostRoute();
    case 4:
      return ChangeAdapter();
    case 5:
    case 6:
      return ChangeAdministrators();
    case 7:
      return ChangeSession();
    case 8:
      return ChangeServices();
    case 9:
      return ChangeTunnel();
    case 10:
      return ChangeFile();
    default:
      return ChangeSetting();
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
  const std::string destination = random_.Pick(kAdministrators) + "/32";
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
  const std::string& address = random_.Pick(kAdministrators);
  machine_.sessions.AddSession(id, random_.Below(5));
  machine_.sessions.SetClientAddress(id, address);
  if (random_.OneIn(3)) machine_.sessions.SetConsoleSession(random_.OneIn(2) ? id : 0xFFFFFFFF);
  return "session " + std::to_string(id) + " from " + address;
}

std::string Surroundings::ChangeSetting() {
  const std::size_t i = random_.Below(kNames.size());
  const std::wstring value = random_.Pick(kValues[i]);
  const bool of_machine = random_.OneIn(2);
  const std::string whose = of_machine ? "the machine's " : "the user's ";
  if (random_.OneIn(3)) {
    of_machine ? machine_.environment.UnsetMachine(kNames[i])
               : machine_.environment.UnsetUser(kNames[i]);
    return whose + Text(kNames[i]) + " goes";
  }
  of_machine ? machine_.environment.SetMachine(kNames[i], value)
             : machine_.environment.SetUser(kNames[i], value);
  return whose + Text(kNames[i]) + " is " + Text(value);
}

std::string Surroundings::ChangeServices() {
  odd_modes_ = true;
  const std::uint32_t polls = random_.Below(18);
  switch (random_.Below(8)) {
    case 0:
      machine_.services.RunAfterPolls(polls);
      return "services run after " + std::to_string(polls) + " polls";
    case 1:
      machine_.services.StopRightAfterStart();
      return "services end at once";
    case 2:
      machine_.services.StopAfterPolls(polls);
      return "services stop after " + std::to_string(polls) + " polls";
    case 3:
      machine_.services.NeverStop();
      return "services do not stop";
    default:
      machine_.services.RunAtOnce();
      machine_.services.StopAtOnce();
      odd_modes_ = false;
      return "services run and stop at once";
  }
}

std::string Surroundings::ChangeTunnel() {
  const auto tunnel = machine_.services.Find(kTunnel);
  if (!tunnel) {
    holds_service_ = false;
    return "nobody looks at the tunnel service";
  }
  if (holds_service_) {
    holds_service_ = false;
    machine_.services.ReleaseHandle(kTunnel);
    return "the handle of the tunnel service is closed";
  }
  if (random_.OneIn(3)) {
    holds_service_ = true;
    machine_.services.HoldHandle(kTunnel);
    return "somebody has a handle of the tunnel service";
  }
  machine_.services.SetState(kTunnel, simulated::kStopped);
  return "the tunnel's process ends";
}

std::string Surroundings::ChangeFile() {
  if (!held_file_.empty()) {
    const std::wstring path = std::exchange(held_file_, {});
    if (machine_.files.Exists(path)) machine_.files.Release(path);
    return Text(path) + " is let go";
  }
  for (const std::wstring& path : machine_.files.AllFiles()) {
    if (!path.ends_with(L"\\active.conf") || random_.OneIn(2)) continue;
    held_file_ = path;
    const std::uint32_t share = random_.Below(8);
    machine_.files.HoldOpen(path, share);
    return Text(path) + " is open and shares " + std::to_string(share);
  }
  return "nobody opens a file";
}

}  // namespace veltrane::simulation
