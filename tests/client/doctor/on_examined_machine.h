#pragma once

// The fixture of tests of doctor.

#include <string>

#include "tests/client/doctor/tunnel_library.h"
#include "tests/client/on_client_machine.h"

namespace veltrane {

// A machine with the tunnel library and an interface metric that suits the bypass.
class OnExaminedMachine : public OnClientMachine {
 protected:
  OnExaminedMachine() {
    machine.files.AddFile(kLibrary, TunnelLibrary("WireGuardTunnelService"));
    side.interface_metrics[12] = 1;
  }

  // Starts the service, or serves the pipe as a service in console mode does, and runs doctor.
  // Both return the exit code.
  int ExamineService() {
    StartService();
    return Run({"doctor"});
  }
  int ExamineConsoleMode() {
    ServePipe();
    return Run({"doctor", "--any-server"});
  }

  // The lines of one group, without its heading.
  std::string Group(const std::string& name) const {
    const std::string output = "\n" + side.Output();
    const std::size_t heading = output.find("\n" + name + "\n");
    if (heading == std::string::npos) return "(none)";
    const std::size_t begin = heading + name.size() + 2;
    std::size_t end = begin;
    while (output.compare(end, 2, "  ") == 0) end = output.find('\n', end) + 1;
    return output.substr(begin, end - begin);
  }

  std::string Verdict() const {
    const std::string output = side.Output();
    return output.substr(output.rfind("\n\n") + 2);
  }

  // An administrator at 203.0.113.5 who is protected.
  void SetAdministrator() { machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5"); }

  const std::wstring kLibrary = L"C:\\Program Files\\Veltrane\\tunnel.dll";
  const std::wstring kTunnels = L"C:\\ProgramData\\Veltrane\\tunnels";
};

}  // namespace veltrane
