// What the watcher sees when it looks at the machine and at the program.

#include <algorithm>
#include <tuple>
#include <utility>

#include "service/server_slot.h"
#include "tests/simulation/invariants.h"
#include "tests/simulation/watcher.h"

namespace veltrane::simulation {
namespace {

constexpr wchar_t kTunnel[] = L"VeltraneVpnTunnel$Active";
constexpr std::uint32_t kGoodMetric = 15;
constexpr std::uint32_t kWholeMask = 0xFFFFFFFF;

}  // namespace

std::string Watcher::OnMoment() {
  NoticeRequest();
  const std::string timers = JudgeEndedTimers();
  if (!timers.empty()) return timers;
  if (exchange_ && !work_done_ && TimerTearsDown()) exchange_->beside_timer = true;
  MomentFacts moment;
  moment.process_lives = process_.Lives();
  moment.timers = baton_.Count(Role::kTimer);
  moment.pipe_threads = baton_.Count(Role::kPipe);
  moment.idle = IsIdle();
  if (!exchange_ && !TimerTearsDown()) late_.clear();
  // Who holds the mutex of the phase between two turns keeps everybody from looking at it.
  moment.has_server = process_.Lives() && RegisteredServer() != nullptr && process_.Locks() == 0;
  if (moment.has_server) std::tie(moment.phase, moment.node) = ReadPhase();
  if (moment.has_server && moment.idle) moment.phases = phases_.Now();
  moment.open = Open();
  moment.serves_connect = exchange_ && exchange_->op == "connect";
  moment.prepares_connect = PreparesConnect();
  moment.looked_for_keys = std::exchange(files_changed_, false);
  if (moment.looked_for_keys) moment.files_with_keys = FilesWithKeys();
  return moment_court_.Judge(moment);
}

bool Watcher::PreparesConnect() const {
  return exchange_ && !work_done_ && connect_has_begun_ && !start_was_called_ &&
         !exchange_->beside_timer;
}

std::vector<std::string> Watcher::FilesWithKeys() const {
  std::vector<std::string> files;
  for (const std::wstring& path : machine_.files.AllFiles()) {
    const std::string file = simulated::Narrow(path);
    const bool may = file.ends_with("\\Veltrane\\tunnels\\active.conf") ||
                     file.ends_with("\\Veltrane\\tunnels\\active.conf.tmp");
    if (!may && machine_.files.Bytes(path)->find(kSecret) != std::string::npos) {
      files.push_back(file);
    }
  }
  return files;
}

// The folder before the key is written into it, the temporary file before it is moved, and the file
// before the tunnel starts.
void Watcher::LookAtAccess(const CallFacts& call) {
  static const std::vector<std::string> kProtected = {"group S-1-5-18 0x10000000 inherit 3",
                                                      "group S-1-5-32-544 0x10000000 inherit 3"};
  std::wstring path = Folder();
  if (call.name == "MoveFileWithFlags") {
    path += L"\\active.conf.tmp";
  } else if (call.name == "Service.Start") {
    path += L"\\active.conf";
  } else if (call.name != "OutputFile.Open" || !call.text.ends_with(".tmp")) {
    return;
  }
  const auto entries = machine_.files.Access(path);
  if (!machine_.files.Exists(path)) return;
  exchange_->looked_at_access = true;
  if (!entries || simulated::AccessTexts(*entries) != kProtected) {
    exchange_->open_to_others = simulated::Narrow(path);
  }
}

bool Watcher::IsIdle() const {
  if (!process_.Lives() || exchange_ || TimerTearsDown()) return false;
  const auto last = [this](Role role) {
    const auto known = last_calls_.find(role);
    return known == last_calls_.end() ? std::string() : known->second.name;
  };
  const bool is_service = process_.Arguments() == std::vector<std::wstring>{L"--run-as-service"};
  if (last(is_service ? Role::kServiceMain : Role::kMain) != "Sleep") return false;
  const std::string pipe = last(Role::kPipe);
  return pipe == "ServerPipe.WaitForClient" || pipe == "ServerPipe.Read" || pipe == "Sleep";
}

TunnelFacts Watcher::Tunnel() const {
  const auto tunnel = machine_.services.Find(kTunnel);
  return {tunnel.has_value(), tunnel && tunnel->state == simulated::kRunning};
}

std::wstring Watcher::Folder() const {
  const std::wstring data = machine_.environment.Process(L"ProgramData", 260);
  return (data.empty() ? L"C:\\ProgramData" : data) + L"\\Veltrane\\tunnels";
}

std::optional<std::string> Watcher::Conf() const {
  return machine_.files.Bytes(Folder() + L"\\active.conf");
}

Look Watcher::LookAtTable(const CallFacts& call) const {
  std::vector<ForwardRow> rows = machine_.routes.Read();
  if (call.failed) {
    rows = simulated::FailedList(rows, *call.failed).value_or(std::vector<ForwardRow>());
  }
  Look look;
  for (const ForwardRow& row : rows) {
    if (row.dest == 0 && row.mask == 0 && IsTunnel(row.interface_index)) look.tunnel_default = true;
    if (row.mask != kWholeMask || row.metric1 > kGoodMetric) continue;
    look.pinned.insert(simulated::IpText(row.dest) + " via " + simulated::IpText(row.next_hop) +
                       " if " + std::to_string(row.interface_index));
  }
  return look;
}

bool Watcher::IsTunnel(std::uint32_t interface_index) const {
  const auto names = machine_.routes.Names(interface_index);
  if (!names) return false;
  const std::wstring name =
      simulated::FoldCase(names->alias.empty() ? names->description : names->alias);
  return name.find(L"wireguard") != std::wstring::npos ||
         name.find(L"wintun") != std::wstring::npos || name.find(L"tunnel") != std::wstring::npos;
}

Phase Watcher::ReadPhase() const {
  const IpcServer* server = RegisteredServer();
  if (server == nullptr || process_.Locks() != 0) return {};
  const Baton::Quiet quiet(baton_);
  const ConnectionPhase now = server->Snapshot();
  return {now.phase, now.node_id};
}

}  // namespace veltrane::simulation
