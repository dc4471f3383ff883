// What a story finds: settings, administrators, a tunnel.

#include <utility>

#include "tests/faults/scene.h"
#include "tests/scenarios/connection.h"

namespace veltrane::faults {

void Scene::SetAdministrator() {
  Set(L"ADMIN_BYPASS_IP", L"203.0.113.5");
  account_.administrators = {"203.0.113.5"};
}

void Scene::SetAdministrators() {
  SetAdministrator();
  Set(L"ADMIN_BYPASS_IPS", L"198.51.100.7");
  account_.administrators.emplace_back("198.51.100.7");
}

void Scene::SetGuard() {
  Set(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  account_.guard = true;
}

void Scene::AddConnection(const std::string& address) {
  machine.connections.AddEstablished(3389, address);
  account_.connections.push_back(address);
}

void Scene::AddRemoteDesktop(const std::string& address) {
  AddConnection(address);
  account_.administrators.push_back(address);
}

void Scene::Set(const std::wstring& name, const std::wstring& value) {
  machine.environment.SetMachine(name, value);
  account_.settings.push_back({"HKLM " + simulated::Narrow(name), simulated::Narrow(value)});
}

void Scene::SetOfProcess(const std::wstring& name, const std::wstring& value) {
  machine.environment.SetProcess(name, value);
  account_.settings.push_back({simulated::Narrow(name), simulated::Narrow(value)});
}

void Scene::OnTunnelStart(std::function<void(simulated::Machine&)> happen) {
  machine.services.OnRunning([this, happen = std::move(happen)](const std::wstring&) {
    NoteLoaded();
    happen(machine);
  });
}

void Scene::LeaveTunnelRunning() {
  machine.services.Add(kTunnelService, simulated::kRunning);
  machine.files.AddFile(kActiveConf, kConf);
  NoteLoaded();
}

void Scene::HoldTunnelService() {
  machine.services.HoldHandle(kTunnelService);
  account_.held = true;
}

}  // namespace veltrane::faults
