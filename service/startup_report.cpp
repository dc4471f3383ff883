#include "service/startup_report.h"

#include "guard/route_snapshots.h"
#include "platform/console.h"
#include "service/startup_guard.h"
#include "text/ascii.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {
namespace {

constexpr wchar_t kPrefix[] = L"[Veltrane] passive startup report: ";

const char* Word(bool value) { return value ? "true" : "false"; }

}  // namespace

std::string BuildPassiveStartupReport() {
  const bool tunnel_running = TunnelManager::IsRunning();
  std::string offending_route;
  const bool default_route_found = FindTunnelDefaultRoute(&offending_route);
  const StartupState state = ReadStartupState();

  std::string report = "{\"service_started_utc\":\"" + state.process_start_timestamp + "\"";
  report += ",\"startup_passive\":true";
  report += ",\"startup_route_mutation_count\":" + std::to_string(state.route_mutation_count);
  report += std::string(",\"startup_tunnel_started\":") + Word(state.tunnel_started);
  report += std::string(",\"startup_config_written\":") + Word(state.config_written);
  report += std::string(",\"leftover_tunnel_service_running\":") + Word(tunnel_running);
  report += std::string(",\"leftover_tunnel_default_route_detected\":") + Word(default_route_found);
  report += std::string(",\"startup_network_mutation_guard_enabled\":") +
            Word(IsStartupMutationGuardEnabled());
  if (!offending_route.empty()) {
    report += ",\"leftover_offending_default_route\":\"" + offending_route + "\"";
  }
  return report + "}";
}

void PrintPassiveStartupReport() {
  const std::string report = BuildPassiveStartupReport();
  PrintOutput(kPrefix + WidenBytes(report) + L"\n");
  PrintErrorLine(kPrefix, report);
}

}  // namespace veltrane
