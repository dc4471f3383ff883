#include <array>

#include "tests/fuzz/story.h"

namespace veltrane {
namespace {

// The calls that may fail without ending the service.
constexpr std::array kFailingCalls = {
    "CreateForwardRow",      "DeleteForwardRow",   "ReadForwardTable",   "FindBestRoute",
    "CreateFolders",         "OutputFile.Open",    "OutputFile.Write",   "OutputFile.Close",
    "MoveFileWithFlags",     "RemoveFile",         "SetProtectedAccess", "ServiceManager.Open",
    "ServiceManager.Create", "Service.Start",      "Service.SendStop",   "Service.Delete",
    "Service.QueryState",    "Service.SetSidType", "ReadInterfaceNames", "ReadSessions",
    "ReadTcpConnections",    "MakeNtSid",          "ReadRegistryText",   "ReadProcessVariable",
};

std::wstring WidenedText(const std::string& text) {
  std::wstring wide;
  for (const char c : text) wide += static_cast<wchar_t>(static_cast<unsigned char>(c));
  return wide;
}

void SetEnvironment(simulated::Machine& machine, const Surroundings& surroundings) {
  simulated::Environment& environment = machine.environment;
  if (surroundings.administrator) environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  if (surroundings.guard) {
    environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  }
  if (surroundings.guard_overridden) {
    environment.SetProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"0");
  }
  if (surroundings.auto_stop) environment.SetUser(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"5");
  if (!surroundings.admin_addresses.empty()) {
    environment.SetProcess(L"ADMIN_BYPASS_IPS", WidenedText(surroundings.admin_addresses));
  }
}

// The first calls of that name that the story makes, or all of them.
void LetCallsFail(simulated::Machine& machine, std::uint8_t failing_call) {
  const std::string name = kFailingCalls[failing_call % kFailingCalls.size()];
  const std::size_t nth = failing_call / kFailingCalls.size();
  if (nth > 8) {
    machine.FailAlways(name, 5);
  } else {
    machine.Fail(name, nth + 1, 5);
  }
}

}  // namespace

void Arrange(simulated::Machine& machine, const Surroundings& surroundings) {
  machine.routes.AddPhysicalNetwork();
  if (!surroundings.adapter_alias.empty()) {
    machine.routes.AddInterface(12, WidenedText(surroundings.adapter_alias));
  }
  SetEnvironment(machine, surroundings);
  machine.sessions.SetRemoteSession(surroundings.remote_session);
  if (surroundings.remote_desktop) {
    machine.connections.AddEstablished(3389, "198.51.100.7");
    machine.sessions.AddActive(2, "198.51.100.8");
  }
  if (surroundings.other_tunnel) {
    machine.routes.AddInterface(20, L"WireGuard Tunnel");
    machine.routes.Add("0.0.0.0/0", "10.9.0.1", 20, 5);
  }
  if (surroundings.replaced_tunnel) {
    machine.services.Add(L"VeltraneVpnTunnel$Active", simulated::kRunning);
  }
  if (surroundings.failing_call != 0) LetCallsFail(machine, surroundings.failing_call);
}

}  // namespace veltrane
