#include "tests/simulation/surroundings.h"

#include <utility>

namespace veltrane::simulation {
namespace {

using WideTexts = std::vector<std::wstring>;

constexpr wchar_t kTunnel[] = L"VeltraneVpnTunnel$Active";

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

// What the tunnel's library exports, and what it is to answer: the program cannot pass on more.
bool tunnel_ends_well = true;
bool RunTunnel(const wchar_t* /*conf_path*/) { return tunnel_ends_well; }

}  // namespace

Surroundings::Surroundings(simulated::Machine& machine, Random& random)
    : machine_(machine), random_(random) {
  machine_.routes.AddPhysicalNetwork();
  machine_.routes.AddAdapterAddress("198.51.100.200");
  names_tunnel_ = random_.OneIn(4);
  library_ = random_.Pick(std::initializer_list<TunnelLibrary>{
      TunnelLibrary::kNone, TunnelLibrary::kOther, TunnelLibrary::kTunnel, TunnelLibrary::kTunnel});
  if (library_ == TunnelLibrary::kOther) machine_.libraries.Add(L"tunnel.dll");
  if (library_ == TunnelLibrary::kTunnel) {
    machine_.libraries.AddExport(L"tunnel.dll", "WireGuardTunnelService",
                                 reinterpret_cast<LibraryFunction>(&RunTunnel));
  }
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
  tunnel_ends_well = !random_.OneIn(3);
  machine_.environment.SetProcess(L"ProgramData",
                                  random_.OneIn(8) ? L"C:\\Data" : L"C:\\ProgramData");
  return told;
}

int Surroundings::LibraryAnswers() const {
  if (library_ == TunnelLibrary::kNone) return 2;
  if (library_ == TunnelLibrary::kOther) return 3;
  return tunnel_ends_well ? 0 : 4;
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
