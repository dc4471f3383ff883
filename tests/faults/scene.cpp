#include "tests/faults/scene.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "ipc/dispatcher.h"
#include "service/command_line.h"
#include "service/server_slot.h"
#include "tests/faults/machinery.h"
#include "tests/scenarios/connection.h"
#include "tests/simulated/pipe_client.h"
#include "tests/simulated/threads.h"

namespace veltrane::faults {
namespace {

using simulated::NotOfTheProgram;

template <typename Condition>
void Await(Condition holds) {
  while (!holds()) std::this_thread::sleep_for(std::chrono::microseconds(20));
}

int RunProgram(const std::vector<std::wstring>& arguments) {
  std::vector<const wchar_t*> argv = {L"VeltraneVpnService.exe"};
  for (const std::wstring& argument : arguments) argv.push_back(argument.c_str());
  return RunCommandLine(static_cast<int>(argv.size()), argv.data());
}

// A thread that has done its work stays: one that is about to end may hold a lock of the system
// while the process forks.
[[noreturn]] void Rest() {
  for (;;) pause();
}

std::string ExitWith(int code) { return std::string(kExitBeginning) + " " + std::to_string(code); }

}  // namespace

Scene::Scene(int account_descriptor)
    : account_descriptor_(account_descriptor), server_(std::make_unique<IpcServer>()) {
  machine.routes.AddPhysicalNetwork();
  machine.routes.Add("198.51.100.99/32", "192.168.1.1", 12, 5);
  machine.calls.Observe(
      [this](const std::string& name, const std::string& text) { Observe(name, text); });
  machine.routes.OnAnswer([this](const char* change, const std::string& row, std::uint32_t status) {
    NoteRoute(change, row, status == 0);
  });
  machine.services.OnRunning([this](const std::wstring&) { NoteLoaded(); });
  machine.clock.OnSleep([this](std::uint32_t milliseconds) { Sleep(milliseconds); });
}

void Scene::NoteLoaded() { loaded_ = Contents(machine.files.Bytes(kActiveConf).value_or("")); }

void Scene::Ask(const std::string& request) {
  account_.exchanges.push_back({request, ""});
  account_.exchanges.back().reply = Answer(request);
  // A timer that has been started is in its first sleep when the story goes on.
  const IpcServer* server = Server();
  if (server == nullptr || !server->auto_stop_thread.joinable()) return;
  Await([&] { return timer_sleeps_ || timer_has_expired_ || server->auto_stop_cancel; });
}

std::string Scene::Answer(const std::string& request) {
  if (!program_started_) return AnswerAsPipeThread(request);
  if (program_ended_) return "";
  std::string reply = simulated::Exchange(request);
  Await([this] { return machine.pipes.ServerWaits(); });
  return reply;
}

std::string Scene::AnswerAsPipeThread(const std::string& request) noexcept {
  return HandleRequest(*server_, request);
}

void Scene::ExpireTimer(const char* turn) {
  IpcServer* server = Server();
  if (!server->auto_stop_thread.joinable() || server->auto_stop_cancel) return;
  account_.timer = turn;
  timer_may_count_ = true;
  Await([server] {
    const NotOfTheProgram locks;
    return server->Snapshot().phase == kPhaseDisconnected;
  });
  timer_has_expired_ = true;
  timer_may_count_ = false;
}

void Scene::DuringStory(const std::string& call, std::function<void()> act) {
  machine.OnCall(call, 1, [this, act = std::move(act)] {
    if (acting_) act();
  });
}

void Scene::Run(const std::vector<std::wstring>& arguments) {
  account_.mode = simulated::Narrow(arguments.front());
  account_.ending = ExitWith(RunProgram(arguments));
  program_started_ = true;
  program_ended_ = true;
}

void Scene::Start(const std::wstring& mode) {
  const auto note_main = [this] { program_main_ = std::this_thread::get_id(); };
  // The pipe thread takes its first steps alone, so that the order of all steps is always the same.
  if (mode == L"--run-as-service") {
    machine.OnCall("RegisterControlHandler", 1, note_main);
    first_behind_server_ = "ServiceManager.Open";
  } else {
    machine.OnCall("InstallConsoleHandler", 1, note_main);
    first_behind_server_ = "PrintOutput VeltraneVpnService IPC on";
  }
  account_.mode = simulated::Narrow(mode);
  program_started_ = true;
  {
    const NotOfTheProgram threads;
    std::thread([this, mode] {
      const int code = RunProgram({mode});
      account_.ending = ExitWith(code);
      program_ended_ = true;
      Rest();
    }).detach();
  }
  Await([this] { return program_ended_ || (program_polls_ && machine.pipes.ServerWaits()); });
  WatchServersMutex();
}

void Scene::WatchServersMutex() const {
  const IpcServer* server = Server();
  simulated::WatchMutex(server == nullptr ? nullptr : &server->state_mutex);
}

void Scene::StopService() {
  WaitForStop([this] { machine.service_host.SendControl(1); });
}

void Scene::PressCtrlC() {
  WaitForStop([this] {
    if (!machine.console.SendEvent(0)) EndProcess(kKilled);
  });
}

void Scene::WaitForStop(const std::function<void()>& tell) {
  if (program_ended_) return;
  std::atomic<bool> told = false;
  {
    const NotOfTheProgram threads;
    std::thread([&] {
      tell();
      told = true;
      Rest();
    }).detach();
  }
  // A stop that cannot wake the pipe thread waits for ever.
  Await([&] {
    return told || (IsToStrike("OpenAndClosePipe") && machine.calls.Count("OpenAndClosePipe") != 0);
  });
  program_may_poll_ = true;
  Await([this] { return program_ended_.load(); });
}

void Scene::Sleep(std::uint32_t milliseconds) {
  constexpr std::uint32_t kTimerMilliseconds = 100;
  if (std::this_thread::get_id() == program_main_) {
    program_polls_ = true;
    Await([this] { return program_may_poll_.load(); });
  } else if (milliseconds == kTimerMilliseconds) {
    timer_sleeps_ = true;
    const IpcServer* server = Server();
    Await([&] { return timer_may_count_ || server->auto_stop_cancel; });
    timer_sleeps_ = false;
  }
}

void Scene::Observe(const std::string& name, const std::string& text) {
  if (text == "ReadProcessVariable VELTRANE_POC_ADMIN_BYPASS") NoteRoute("apply", "", true);
  if (name == "Thread.Start") timer_has_expired_ = false;
  if (program_started_ && std::this_thread::get_id() == program_main_ &&
      text.starts_with(first_behind_server_)) {
    Await([this] { return machine.pipes.ServerWaits(); });
  }
  if (!acting_) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  const std::size_t nth = ++counts_[name];
  const Call call = {name, text.substr(std::min(name.size() + 1, text.size())), nth};
  if (!fault_) {
    account_.calls.push_back(call);
  } else if (IsToStrike(name) && fault_->nth == nth) {
    account_.struck = call;
  }
}

void Scene::NoteRoute(const std::string& what, const std::string& route, bool done) {
  if (!notes_routes_) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  account_.routes.push_back({what, route, done});
}

IpcServer* Scene::Server() const { return program_started_ ? RegisteredServer() : server_.get(); }

void Scene::BeginStory(const std::string& leads_to, const std::optional<Fault>& fault) {
  account_.leads_to = leads_to;
  account_.exchanges.clear();
  account_.before = LeftOn(machine, loaded_);
  account_.phase_before = Phase();
  machine.console.Clear();
  machine.calls.Clear();
  fault_ = fault;
  if (fault_) machine.Fail(std::string(fault_->kind.call), fault_->nth, fault_->kind.status);
  WatchServersMutex();
  acting_ = true;
}

}  // namespace veltrane::faults
