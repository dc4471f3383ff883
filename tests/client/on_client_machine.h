#pragma once

// The fixture of tests that run the whole client on a simulated machine.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "client/command_line.h"
#include "service/ipc_server.h"
#include "tests/simulated/client_side.h"
#include "tests/simulated/pipe_client.h"
#include "tests/support/on_machine.h"

namespace veltrane {

inline const std::wstring kProgram = L"C:\\Program Files\\Veltrane\\VeltraneVpnService.exe";
inline const std::string kConfPath = "C:\\profiles\\office.conf";

inline const std::string kConfText =
    "[Interface]\n"
    "PrivateKey = iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHY=\n"
    "Address = 10.66.66.7/32\n"
    "DNS = 10.66.66.1\n"
    "\n"
    "[Peer]\n"
    "PublicKey = XMRuUJayp638fyAx0EkOl68F51NYDKvvv48nFPiYc0Q=\n"
    "PresharedKey = +pU38MwXhbZ1SIcq+mCHnuqvpBsCtbl+BkYrwz/g2vk=\n"
    "AllowedIPs = 10.66.66.0/24\n"
    "Endpoint = 192.0.2.10:51820\n";

inline const std::string kPrivateKey = "iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHY=";
inline const std::string kPreSharedKey = "+pU38MwXhbZ1SIcq+mCHnuqvpBsCtbl+BkYrwz/g2vk=";

// A JSON profile with these values.
inline std::string JsonProfileText(const std::string& node_id, const std::string& allowed_ips) {
  return R"({"address_cidr":"10.7.3.9/32","endpoint_host":"vpn.example",)"
         R"("server_public_key":"XMRuUJayp638fyAx0EkOl68F51NYDKvvv48nFPiYc0Q=",)"
         R"("client_private_key":"iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHY=",)"
         R"("node_id":")" +
         node_id + R"(","allowed_ips_csv":")" + allowed_ips + R"("})";
}

// A machine in an ordinary office, at whose prompt veltranectl is run. The service is neither
// installed nor running until a test says so.
class OnClientMachine : public OnMachine {
 protected:
  OnClientMachine() {
    machine.routes.AddPhysicalNetwork();
    machine.files.AddFile(L"C:\\profiles\\office.conf", kConfText);
  }

  ~OnClientMachine() override {
    if (!server.running) return;
    machine.pipes.WaitUntilServerWaits();
    server.Stop();
  }

  // Registers a service under the name of ours.
  void RegisterService(const std::wstring& command_line,
                       std::uint32_t state = simulated::kStopped) {
    ServiceSettings settings;
    settings.name = L"VeltraneVpnTunnel";
    settings.command_line = command_line;
    machine.services.Add(settings, state);
  }

  // Installs the service as its installer does.
  void InstallService(std::uint32_t state = simulated::kStopped) {
    RegisterService(L"\"" + kProgram + L"\" --run-as-service", state);
    machine.files.AddFile(kProgram, "MZ");
  }

  // Installs the service and serves its pipe.
  void StartService() {
    InstallService(simulated::kRunning);
    ServePipe();
  }

  // Serves the pipe without telling the system that the service does.
  void ServePipe() {
    server.Start();
    side.ExpectServer();
  }

  // Clears the screen, runs a command line and returns its exit code.
  int Run(const std::vector<std::string>& arguments) {
    side.ClearScreen();
    return RunClient(arguments);
  }

  simulated::ClientSide side;
  IpcServer server;
};

}  // namespace veltrane
