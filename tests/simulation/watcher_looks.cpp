// What the watcher sees when it looks at the machine and at the program.

#include <algorithm>

#include "service/server_slot.h"
#include "tests/simulation/invariants.h"
#include "tests/simulation/watcher.h"

namespace veltrane::simulation {
namespace {

constexpr wchar_t kTunnel[] = L"VeltraneVpnTunnel$Active";
constexpr std::uint32_t kGoodMetric = 15;

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
  moment.has_server = process_.Lives() && RegisteredServer() != nullptr;
  if (moment.has_server) ReadPhase(moment.phase, moment.node);
  moment.service_handles = machine_.services.OpenHandles();
  moment.streams = machine_.files.OpenStreams();
  moment.pipe_instances = machine_.pipes.OpenInstances();
  moment.security_records = machine_.security.LiveRecords();
  moment.serves_connect = exchange_ && exchange_->op == "connect";
  moment.prepares_connect = PreparesConnect();
  if (files_changed_) moment.files_with_keys = FilesWithKeys();
  return Judge(MomentInvariants(), moment);
}

bool Watcher::PreparesConnect() const {
  return exchange_ && !work_done_ && connect_has_begun_ && !start_was_called_ &&
         !exchange_->beside_timer;
}

std::vector<std::string> Watcher::FilesWithKeys() {
  files_changed_ = false;
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
  if (!entries || simulated::AccessTexts(*entries) != kProtected) {
    exchange_->open_to_others = simulated::Narrow(path);
  }
}

bool Watcher::IsIdle() const {
  if (!process_.Lives() || exchange_ || TimerTearsDown()) return false;
  const auto last = [this](Role role) {
    const auto known = last_calls_.find(role);
    return known == last_calls_.end() ? std::string() : known->second;
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

bool Watcher::HasTunnelDefaultRoute() const {
  const std::vector<ForwardRow> rows = machine_.routes.Rows();
  return std::any_of(rows.begin(), rows.end(), [this](const ForwardRow& row) {
    const auto names = machine_.routes.Names(row.interface_index);
    if (row.dest != 0 || row.mask != 0 || !names) return false;
    const std::wstring name =
        simulated::FoldCase(names->alias.empty() ? names->description : names->alias);
    return name.find(L"wireguard") != std::wstring::npos ||
           name.find(L"wintun") != std::wstring::npos || name.find(L"tunnel") != std::wstring::npos;
  });
}

void Watcher::ReadPhase(std::string& phase, std::string& node) const {
  const IpcServer* server = RegisteredServer();
  if (server == nullptr) return;
  const Baton::Quiet quiet(baton_);
  const ConnectionPhase now = server->Snapshot();
  phase = now.phase;
  node = now.node_id;
}

std::set<std::string> Watcher::GoodHostRoutes() const {
  std::set<std::string> good;
  for (const ForwardRow& row : machine_.routes.Rows()) {
    if (row.mask != 0xFFFFFFFF || row.metric1 > kGoodMetric) continue;
    good.insert(simulated::IpText(row.dest) + " via " + simulated::IpText(row.next_hop) + " if " +
                std::to_string(row.interface_index));
  }
  return good;
}

}  // namespace veltrane::simulation
