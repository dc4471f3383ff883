// What Windows Installer calls in VeltraneSetup.dll: VeltraneSetup.def lists it. The handle is an
// MSIHANDLE, and the result an error code of Windows Installer.

#include <cstdint>
#include <exception>

#include "setup/actions.h"

namespace veltrane {
namespace {

constexpr unsigned kErrorInstallFailure = 1603;  // ERROR_INSTALL_FAILURE

// No exception may reach Windows Installer.
unsigned Run(unsigned long handle, bool (*action)(InstallerSession& session)) {
  InstallerSession session(static_cast<std::uint32_t>(handle));
  try {
    return action(session) ? 0 : kErrorInstallFailure;
  } catch (const std::exception& exception) {
    session.Explain(std::string("Veltrane VPN: ") + exception.what());
    return kErrorInstallFailure;
  }
}

}  // namespace
}  // namespace veltrane

using veltrane::Run;

extern "C" {
unsigned VeltranePrepare(unsigned long session) {
  return Run(session, veltrane::PrepareInstallation);
}
unsigned VeltraneStop(unsigned long session) { return Run(session, veltrane::StopServices); }
unsigned VeltraneRegister(unsigned long session) {
  return Run(session, veltrane::RegisterControlService);
}
unsigned VeltraneStart(unsigned long session) {
  return Run(session, veltrane::StartControlService);
}
unsigned VeltraneRemove(unsigned long session) { return Run(session, veltrane::RemoveServices); }
unsigned VeltraneStartAgain(unsigned long session) {
  return Run(session, veltrane::RestartControlService);
}
unsigned VeltraneRestore(unsigned long session) {
  return Run(session, veltrane::RestoreRegistration);
}
}
