#include "ipc/connect_sequence.h"

#include <vector>

#include "bypass/apply.h"
#include "bypass/host_routes.h"
#include "bypass/recheck.h"
#include "bypass/records.h"
#include "guard/allowed_ips.h"
#include "guard/route_snapshots.h"
#include "guard/settings.h"
#include "ipc/auto_stop.h"
#include "ipc/connection_profile.h"
#include "ipc/message_codec.h"
#include "ipc/reports.h"
#include "service/startup_guard.h"
#include "tunnel/active_conf.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {
namespace {

constexpr char kRdpMessage[] =
    "RDP session detected; set VELTRANE_POC_DISABLE_DEFAULT_ROUTE=1 (Machine env + restart "
    "VeltraneVpnService)";
constexpr char kDefaultRouteMessage[] =
    "tunnel installed a default route on WireGuard/Wintun interface";

// Each ends a refused connect: it sets the phase to "disconnected", then builds the reply.
std::string Refuse(IpcServer& server, const std::string& error, const std::string& message) {
  server.SetPhase(kPhaseDisconnected);
  return MakeErrorReply(error, message);
}

std::string RefuseWithReports(IpcServer& server, const std::string& error,
                              const std::string& message, const AdminBypassState& bypass,
                              const RouteGuardResult& guard) {
  server.SetPhase(kPhaseDisconnected);
  return MakeErrorReplyWithReports(error, message, bypass, guard);
}

bool BypassIsMissing(const AdminBypassState& bypass, const RouteGuardResult& guard) {
  return !guard.rdp_session_active && !guard.effective_disable_default_route && bypass.enabled &&
         !bypass.routes_ready_before_tunnel;
}

std::int32_t AutoStopDelay(const RouteGuardResult& guard) {
  if (guard.effective_auto_stop_seconds >= 1) return guard.effective_auto_stop_seconds;
  return AutoStopSeconds();
}

}  // namespace

std::string Connect(IpcServer& server, const std::string& request) {
  ConnectionProfile profile = ParseProfile(request);
  if (profile.node_id.empty() || profile.client_private_key.empty()) {
    return MakeErrorReply("invalid_profile", "missing required fields");
  }
  server.SetPhase(kPhaseConnecting);
  MarkConnectRequested();

  // The default-route guard first, then the routes that keep administrators connected.
  RouteGuardResult guard;
  ReadGuardSettings(guard);
  if (guard.poc_env_read_failed) {
    return RefuseWithReports(server, "poc_env_read_failed", guard.message, AdminBypassState{},
                             guard);
  }
  PatchAllowedIps(profile, guard);
  AdminBypassState bypass = ApplyAdminBypass(guard.effective_disable_default_route);
  if (guard.effective_auto_stop_seconds > 0) {
    bypass.auto_stop_seconds = guard.effective_auto_stop_seconds;
  }

  // A connect that would cut off remote administration is refused before anything is started.
  if (guard.poc_route_guard_failed) {
    RemoveBypassRoutes();
    return RefuseWithReports(server, "poc_route_guard_failed", guard.message, bypass, guard);
  }
  if (guard.rdp_session_active && !guard.effective_disable_default_route) {
    RemoveBypassRoutes();
    guard.failure_reason = "rdp_requires_disable_default_route";
    guard.message = kRdpMessage;
    return RefuseWithReports(server, "poc_route_guard_failed", guard.message, bypass, guard);
  }
  if (BypassIsMissing(bypass, guard)) {
    return RefuseWithReports(server, "admin_bypass_failed", bypass.message, bypass, guard);
  }

  const std::vector<std::string> bypass_ips = SelectedBypassIps();
  guard.default_routes_before_tunnel = SnapshotDefaultRoutes();
  guard.rdp_routes_before_tunnel = SnapshotHostRoutes(bypass_ips);

  std::string error;
  if (!WriteActiveConf(profile, &error)) {
    RemoveBypassRoutes();
    return Refuse(server, "config_write_failed", error);
  }
  if (!TunnelManager::Start(ActiveConfPath(), &error)) {
    RemoveBypassRoutes();
    DeleteActiveConf(&error);
    return Refuse(server, "tunnel_start_failed", error);
  }

  guard.default_routes_after_tunnel = SnapshotDefaultRoutes();
  guard.rdp_routes_after_tunnel = SnapshotHostRoutes(bypass_ips);

  // With the guard in force, the tunnel must not have taken the default route; without it, the
  // pinned routes must have survived.
  if (guard.effective_disable_default_route) {
    std::string offending_route;
    if (FindTunnelDefaultRoute(&offending_route)) {
      guard.poc_default_route_detected = true;
      guard.offending_default_route = offending_route;
      guard.failure_reason = "poc_default_route_detected";
      guard.message = kDefaultRouteMessage;
      Teardown();
      return RefuseWithReports(server, "poc_default_route_detected", guard.message, bypass, guard);
    }
  } else {
    bypass = RecheckBypassAfterTunnel();
    if (bypass.enabled && !bypass.applied) {
      Teardown();
      return RefuseWithReports(server, "admin_bypass_failed", bypass.message, bypass, guard);
    }
  }

  server.SetPhase(kPhaseConnected, profile.node_id);
  ScheduleAutoStop(server, AutoStopDelay(guard), &guard);
  return AppendReports(MakeOkReply(kPhaseConnected, profile.node_id), bypass, guard);
}

}  // namespace veltrane
