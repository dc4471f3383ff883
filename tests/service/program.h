#pragma once

// The program as a test runs it: by its command line, on the simulated machine.

#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "service/command_line.h"
#include "service/server_slot.h"
#include "tests/support/on_machine.h"

namespace veltrane {

// The report of a start at the machine's first second that found nothing and changed nothing.
inline constexpr wchar_t kQuietReport[] =
    L"[Veltrane] passive startup report: "
    L"{\"service_started_utc\":\"2026-11-16T02:25:07Z\",\"startup_passive\":true,"
    L"\"startup_route_mutation_count\":0,\"startup_tunnel_started\":false,"
    L"\"startup_config_written\":false,\"leftover_tunnel_service_running\":false,"
    L"\"leftover_tunnel_default_route_detected\":false,"
    L"\"startup_network_mutation_guard_enabled\":false}\n";

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

}  // namespace veltrane
