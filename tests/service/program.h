#pragma once

// The program as a test runs it: by its command line, on the simulated machine.

#include <cstdint>
#include <future>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "service/command_line.h"
#include "service/server_slot.h"
#include "service/startup_guard.h"
#include "tests/support/on_machine.h"

namespace veltrane {

using Texts = std::vector<std::string>;

// The report of a start at the machine's first second that found nothing and changed nothing.
inline const std::string kQuietReport =
    "{\"service_started_utc\":\"2026-11-16T02:25:07Z\",\"startup_passive\":true,"
    "\"startup_route_mutation_count\":0,\"startup_tunnel_started\":false,"
    "\"startup_config_written\":false,\"leftover_tunnel_service_running\":false,"
    "\"leftover_tunnel_default_route_detected\":false,"
    "\"startup_network_mutation_guard_enabled\":false}";

// The startup record: "connect 0 stop 0 routes 2 tunnel 1 config 1 since 2026-11-16T02:25:07Z".
inline std::string StartupRecord() {
  const StartupState state = ReadStartupState();
  return "connect " + std::to_string(state.connect_requested) + " stop " +
         std::to_string(state.stop_requested) + " routes " +
         std::to_string(state.route_mutation_count) + " tunnel " +
         std::to_string(state.tunnel_started) + " config " + std::to_string(state.config_written) +
         " since " + state.process_start_timestamp;
}

// Runs the program with these arguments behind the program path; its exit code.
inline int RunProgram(const std::vector<std::wstring>& arguments) {
  std::vector<const wchar_t*> argv = {L"VeltraneVpnService.exe"};
  for (const std::wstring& argument : arguments) argv.push_back(argument.c_str());
  return RunCommandLine(static_cast<int>(argv.size()), argv.data());
}

// A run of the program on a thread of its own, for the modes that last.
class ProgramThread {
 public:
  explicit ProgramThread(std::vector<std::wstring> arguments)
      : thread_([this, arguments = std::move(arguments)] {
          exit_code_.set_value(RunProgram(arguments));
        }) {}

  // Waits for the end of the program; its exit code. Ends the process when that does not come.
  // Called once.
  int Join() {
    std::future<int> exit_code = exit_code_.get_future();
    if (exit_code.wait_for(simulated::kPatience) != std::future_status::ready) {
      simulated::Die("gave up waiting for the end of the program");
    }
    thread_.join();
    return exit_code.get();
  }

 private:
  std::promise<int> exit_code_;
  std::thread thread_;
};

// A machine whose clock stands still until the test moves it on, for programs that poll. A server
// that is still registered at the end of the test is destroyed while the machine exists.
class OnSteppedMachine : public OnMachine {
 protected:
  OnSteppedMachine() { machine.clock.RunInSteps(); }
  ~OnSteppedMachine() override { ReleaseServer(); }
};

// A run of the program in a mode that serves until it is told to end.
class OnLastingProgram : public OnSteppedMachine {
 protected:
  OnLastingProgram(std::vector<std::wstring> arguments, std::uint32_t poll_milliseconds)
      : command_line(std::move(arguments)), poll_milliseconds_(poll_milliseconds) {}

  void Start() { program_.emplace(command_line); }

  // Waits until the program polls its flag and its server waits for a client.
  void WaitUntilServing() {
    machine.clock.WaitForSleepers(1, poll_milliseconds_);
    machine.pipes.WaitUntilServerWaits();
  }

  void Serve() {
    Start();
    WaitUntilServing();
  }

  // Moves the clock on by one poll.
  void Poll() { machine.clock.Advance(poll_milliseconds_); }

  // Waits for the end of the program; its exit code.
  int Join() { return program_->Join(); }

  // What the program did, in order, but for its pipe thread and for what the report reads.
  Texts OwnCalls() {
    static const std::set<std::string> kOwn = {
        "UtcTicks",    "RunServiceDispatcher", "RegisterControlHandler", "InstallConsoleHandler",
        "PrintOutput", "PrintErrorLine",       "ReportServiceStatus",    "Sleep"};
    Texts own;
    for (const std::string& call : machine.calls.All()) {
      if (kOwn.contains(call.substr(0, call.find(' ')))) own.push_back(call);
    }
    return own;
  }

  // The arguments of the next start.
  std::vector<std::wstring> command_line;

 private:
  std::uint32_t poll_milliseconds_;
  std::optional<ProgramThread> program_;
};

}  // namespace veltrane
