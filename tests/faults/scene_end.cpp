// The end of a story, and what comes after it: a disconnect and a connect.

#include <sys/types.h>
#include <unistd.h>

#include <memory>

#include "bypass/records.h"
#include "service/server_slot.h"
#include "service/startup_guard.h"
#include "tests/faults/machinery.h"
#include "tests/faults/run.h"
#include "tests/faults/scene.h"
#include "tests/scenarios/connection.h"
#include "tests/simulated/boundary_calls.h"
#include "tests/simulated/threads.h"

namespace veltrane::faults {
namespace {

std::vector<std::string> Lines(const std::wstring& text) {
  std::vector<std::string> lines;
  std::string rest = simulated::Narrow(text);
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    lines.push_back(rest.substr(0, end));
    rest.erase(0, end == std::string::npos ? end : end + 1);
  }
  return lines;
}

// A server whose threads do not exist any more, for its destructor.
void ForgetThreads(IpcServer& server) {
  server.running = false;
  std::construct_at(&server.server_thread);
  std::construct_at(&server.auto_stop_thread);
}

}  // namespace

void Scene::EndStory() {
  acting_ = false;
  if (!program_ended_) account_.ending = kLives;
  Describe();
  if (program_ended_) StartAnew();
  Conclude();
}

void Scene::EndProcess(const char* ending) {
  static std::atomic_flag has_ended;
  if (has_ended.test_and_set()) pause();  // another thread was first
  acting_ = false;
  account_.ending = ending;
  StartAnew();
  Conclude();
}

void Scene::Describe() {
  account_.open = WhatIsOpen();
  account_.phase = Phase();
  account_.serves = machine.pipes.ServerWaits();
  account_.admits = AdmittedBy(machine);
}

// A lock that is held is noted and replaced, so that it does not hold up what comes next.
std::vector<std::string> Scene::WhatIsOpen() {
  std::vector<std::string> open = OpenOn(machine);
  IpcServer* server = Server();
  if (server == nullptr) return open;
  if (server->state_mutex.TryLock()) {
    server->state_mutex.Unlock();
  } else {
    open.emplace_back("1 locks");
    std::construct_at(&server->state_mutex);
  }
  return open;
}

std::string Scene::Phase() const {
  const IpcServer* server = Server();
  if (server == nullptr) return "";
  const simulated::NotOfTheProgram locks;
  const ConnectionPhase phase = server->Snapshot();
  return phase.node_id.empty() ? phase.phase : phase.phase + " " + phase.node_id;
}

// The next process of the service: its memory is fresh, and the machine is what the earlier one has
// left. That one's threads stay behind in the process that calls this.
void Scene::StartAnew() {
  if (machine.Fork() != 0) _exit(0);
  LimitTime();
  machine.EndProcess();
  NoteRoute("new process", "", true);
  if (IpcServer* server = RegisteredServer()) ForgetThreads(*server);
  ReleaseServer();
  ForgetThreads(*server_);
  server_ = std::make_unique<IpcServer>();
  program_started_ = false;
  CurrentAdminBypassState() = {};
  SelectedBypassIps().clear();
  RequiredBypassIps().clear();
  CurrentPhysicalRoute() = {};
  AddedRouteList().clear();
  ResetStartupState();
}

// Ends what makes calls fail or a connect be refused, so that nothing but the past is in the way.
void Scene::Mend() {
  for (const simulated::BoundaryCall& call : simulated::kBoundaryCalls) {
    if (call.fails) machine.calls.Heal(std::string(call.name));
  }
  machine.services.OnRunning([this](const std::wstring&) { NoteLoaded(); });
  if (account_.held) machine.services.ReleaseHandle(kTunnelService);
  machine.files.AllowOpen(kActiveConf);
  machine.files.AllowOpen(kTemporaryConf);
  machine.routes.SetMetricOfCreatedRows(1);
  // The office's gateway, also beside a route that a tunnel has left.
  machine.routes.OverrideBestRoute(
      {.next_hop = simulated::Ip("192.168.1.1"), .interface_index = 12});
  machine.sessions.SetRemoteSession(false);
  machine.sessions.SetConsoleSession(kNoSession);
  machine.sessions.Clear();
  machine.connections.Clear();
  for (const wchar_t* setting :
       {L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"VELTRANE_POC_AUTO_STOP_SECONDS",
        L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP", L"VELTRANE_POC_ADMIN_BYPASS",
        L"ADMIN_BYPASS_IP", L"ADMIN_BYPASS_IPS"}) {
    machine.environment.UnsetProcess(setting);
    machine.environment.UnsetMachine(setting);
  }
  machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
}

void Scene::Conclude() {
  account_.after = LeftOn(machine, loaded_);
  account_.output = Lines(machine.console.Output());
  account_.error = Lines(machine.console.Error());
  account_.debugger = Lines(machine.console.Debugger());
  for (const std::uint32_t state : machine.service_host.States()) {
    account_.states.push_back(std::to_string(state));
  }
  notes_routes_ = false;
  Mend();
  account_.disconnect = {kDisconnect, Answer(kDisconnect)};
  account_.after_disconnect = LeftOn(machine, loaded_);
  machine.routes.SetMetric("203.0.113.5/32", 1);  // of the interface that has been mended
  Answer(R"({"op":"register_session"})");         // no session is checked any more
  account_.connect = {kConnect, Answer(kConnect)};
  account_.after_connect = LeftOn(machine, loaded_);
  account_.open_after_connect = WhatIsOpen();
  const std::string text = Serialized(account_);
  for (std::size_t written = 0; written < text.size();) {
    const ssize_t count = write(account_descriptor_, text.data() + written, text.size() - written);
    if (count <= 0) break;
    written += static_cast<std::size_t>(count);
  }
  _exit(0);
}

}  // namespace veltrane::faults
