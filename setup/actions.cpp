// The actions that change the machine.

#include "setup/actions.h"

#include <optional>
#include <string>

#include "client/text/windows_error.h"
#include "platform/files.h"
#include "platform/text.h"
#include "service/service_name.h"
#include "setup/configuration_folder.h"
#include "setup/folder.h"
#include "setup/leftovers.h"
#include "setup/paths.h"
#include "setup/plan.h"
#include "setup/services.h"
#include "setup/tunnel_end.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {
namespace {

constexpr int kStopSeconds = 30;

std::optional<Plan> ReadPlan(InstallerSession& session) {
  std::optional<Plan> plan = UnpackPlan(session.Property(L"CustomActionData"));
  if (!plan) session.Explain("Veltrane VPN: The plan of the installation cannot be read.");
  return plan;
}

// Explains what failed, if anything has. Returns whether nothing has.
bool Succeeded(InstallerSession& session, const std::string& problem) {
  if (!problem.empty()) session.Explain("Veltrane VPN: " + problem + ".");
  return problem.empty();
}

std::string CheckFolder(const Plan& plan) { return FindOtherWriters(FolderOf(plan.program)); }

std::string EndTunnel(const Plan& plan, InstallerSession& session) {
  const bool removes = !plan.after.exists;
  if (plan.ends_tunnel || (removes && TunnelRuns(plan.program))) return BringTunnelDown(session);
  // One that another program runs holds no file of this product.
  const bool in_the_way = !removes && ReadTunnelState() != TunnelState::kDown;
  return in_the_way ? "A tunnel has come up meanwhile; disconnect it and try again" : "";
}

}  // namespace

bool StopServices(InstallerSession& session) {
  const std::optional<Plan> plan = ReadPlan(session);
  if (!plan) return false;
  if (plan->after.exists && !Succeeded(session, CheckFolder(*plan))) return false;
  if (!Succeeded(session, EndTunnel(*plan, session))) return false;
  if (plan->has_service && !StopService(kServiceName, kStopSeconds)) {
    return Succeeded(session, "The service VeltraneVpnTunnel does not stop");
  }
  // Before it stopped, somebody may have connected, whom nothing can follow any more.
  return Succeeded(session, EndTunnel(*plan, session));
}

bool RegisterControlService(InstallerSession& session) {
  const std::optional<Plan> plan = ReadPlan(session);
  if (!plan) return false;
  if (!Succeeded(session, CheckFolder(*plan))) return false;
  MakeConfigurationFolder(plan->conf, session);
  return Succeeded(session, RegisterService(plan->after));
}

bool StartControlService(InstallerSession& session) {
  const std::optional<Plan> plan = ReadPlan(session);
  if (!plan || !plan->after.runs) return true;
  const std::uint32_t error = StartServiceAndWait(kServiceName);
  session.Note(error == 0 ? "Veltrane VPN: The service has been started."
                          : "Veltrane VPN: The service could not be started" + WindowsError(error) +
                                "; the installation goes on. Start it: sc.exe start "
                                "VeltraneVpnTunnel");
  return true;
}

bool RemoveServices(InstallerSession& session) {
  const std::optional<Plan> plan = ReadPlan(session);
  if (!plan) return false;
  if (TunnelRuns(plan->program) && !DeleteService(kTunnelServiceName)) {
    return Succeeded(session, "The service VeltraneVpnTunnel$Active cannot be deleted");
  }
  if (plan->before.exists && !plan->has_service) {
    session.Note("Veltrane VPN: The service VeltraneVpnTunnel runs another program, and stays.");
    return true;
  }
  if (!DeleteService(kServiceName)) {
    return Succeeded(session, "The service VeltraneVpnTunnel cannot be deleted");
  }
  RemoveLeftovers(plan->conf, session);
  return true;
}

bool RestartControlService(InstallerSession& session) {
  const std::optional<Plan> plan = ReadPlan(session);
  if (plan && plan->before.runs) StartServiceAndWait(kServiceName);
  return true;
}

bool RestoreRegistration(InstallerSession& session) {
  const std::optional<Plan> plan = ReadPlan(session);
  if (!plan || !plan->has_service) return true;
  // One that has been started already would hold the files, which go back next.
  StopService(kServiceName, kStopSeconds);
  if (plan->before.exists) {
    Succeeded(session, RegisterService(plan->before));
  } else {
    DeleteService(kServiceName);
  }
  if (plan->makes_folder) RemoveFolder(FolderOf(FolderOf(plan->conf)));
  return true;
}

}  // namespace veltrane
