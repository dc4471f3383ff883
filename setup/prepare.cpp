// The actions that change nothing.

#include <string>

#include "client/survey/service_command_lines.h"
#include "client/text/windows_error.h"
#include "platform/files.h"
#include "platform/service_codes.h"
#include "platform/service_facts.h"
#include "platform/text.h"
#include "setup/actions.h"
#include "setup/folder.h"
#include "setup/paths.h"
#include "setup/plan.h"
#include "setup/tunnel_end.h"
#include "setup/wishes.h"
#include "text/ascii.h"
#include "tunnel/active_conf.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {
namespace {

constexpr const wchar_t* kPlannedActions[] = {
    L"VeltraneStop",   L"VeltraneStartAgain", L"VeltraneRegister",      L"VeltraneRestore",
    L"VeltraneRemove", L"VeltraneStart",      L"VeltraneRestoreRemoved"};

std::wstring WithoutSeparator(std::wstring folder) {
  while (folder.ends_with(L'\\')) folder.pop_back();
  return folder;
}

// The file that the tunnel's service names, if there is one, because the control service may have
// another ProgramData than this process: that of its own Environment value comes next.
std::wstring ConfigurationFile(const Registration& registration) {
  const Result<ServiceFacts> tunnel = ReadServiceFacts(kTunnelServiceName);
  if (tunnel && !LastQuoted(tunnel->command_line).empty()) return LastQuoted(tunnel->command_line);
  constexpr std::wstring_view kProgramData = L"ProgramData=";
  for (const std::wstring& entry : registration.environment) {
    if (EqualsIgnoreCase(entry.substr(0, kProgramData.size()), kProgramData)) {
      return entry.substr(kProgramData.size()) + L"\\Veltrane\\tunnels\\active.conf";
    }
  }
  return ActiveConfPath();
}

// Why the product cannot be installed, repaired or upgraded now; empty when it can.
std::string FindRefusal(const Plan& plan, const Wishes& wishes,
                        const std::wstring& earlier_program) {
  if (!wishes.problem.empty()) return wishes.problem;
  const TunnelState tunnel = ReadTunnelState();
  if (tunnel == TunnelState::kUnknown) return "It cannot be told whether a tunnel is up";
  if (tunnel == TunnelState::kUp && !wishes.stop_tunnel) {
    return "A tunnel is up, and runs from a file that would be replaced, which would need a "
           "restart "
           "of Windows. Disconnect it first (veltranectl disconnect), or add TUNNEL=stop to have "
           "it "
           "brought down";
  }
  if (plan.before.exists && !RunsProgram(plan.before.command_line, plan.program) &&
      !RunsProgram(plan.before.command_line, earlier_program)) {
    return "The service VeltraneVpnTunnel is registered for another program, with the command "
           "line " +
           WideToUtf8(plan.before.command_line) +
           ". Unregister it first, as an administrator: VeltraneVpnService.exe --uninstall";
  }
  const std::string writers = FindOtherWriters(FolderOf(plan.program));
  if (writers.empty()) return {};
  return "Local System is to run the program, so only administrators may be able to write to its "
         "folder: " +
         writers;
}

void PlanInstallation(Plan& plan, const Wishes& wishes) {
  plan.has_service = true;
  plan.ends_tunnel = wishes.stop_tunnel;
  plan.makes_folder = !IsThere(FolderOf(FolderOf(plan.conf)));
  plan.after.exists = true;
  plan.after.command_line = CommandLineOf(plan.program);
  plan.after.start_type =
      wishes.start_type.value_or(plan.before.exists ? plan.before.start_type : kServiceDemandStart);
  plan.after.runs = plan.before.runs || wishes.start_type == kServiceAutoStart;
  plan.after.environment = WithSettings(plan.before.environment, wishes.settings);
}

bool Refuse(InstallerSession& session, const std::string& why) {
  session.Explain("Veltrane VPN: " + why + ". Nothing was changed.");
  return false;
}

}  // namespace

bool PrepareInstallation(InstallerSession& session) {
  const std::wstring folder = WithoutSeparator(session.Property(L"INSTALLFOLDER"));
  if (folder.empty()) return Refuse(session, "INSTALLFOLDER is not set");
  const Result<Registration> before = ReadRegistration();
  if (!before) {
    return Refuse(session, "The registration of the service VeltraneVpnTunnel cannot be read" +
                               WindowsError(before.Error()));
  }
  if (!session.Property(L"NEWERPRODUCT").empty() && session.Property(L"Installed").empty()) {
    return Refuse(session, "A newer version is installed; uninstall it first");
  }
  Plan plan{.program = folder + L"\\" + kServiceProgram,
            .conf = ConfigurationFile(*before),
            .before = *before,
            .after = {}};
  if (!session.Property(L"REMOVE").empty()) {
    plan.has_service = before->exists && RunsProgram(before->command_line, plan.program);
  } else {
    const Wishes wishes = ReadWishes(session);
    PlanInstallation(plan, wishes);
    const std::wstring earlier = WithoutSeparator(session.Property(L"PREVIOUSFOLDER"));
    const std::string why = FindRefusal(plan, wishes, earlier + L"\\" + kServiceProgram);
    if (!why.empty()) return Refuse(session, why);
  }
  const std::wstring packed = PackPlan(plan);
  for (const wchar_t* action : kPlannedActions) {
    if (!session.SetProperty(action, packed)) return Refuse(session, "A property cannot be set");
  }
  return true;
}

}  // namespace veltrane
