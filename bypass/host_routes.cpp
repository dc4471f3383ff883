#include "bypass/host_routes.h"

#include <optional>

#include "platform/ipv4.h"
#include "platform/routing.h"
#include "service/startup_guard.h"

namespace veltrane {
namespace {

// Reads the table and returns the first row that satisfies the condition.
template <typename Condition>
std::optional<ForwardRow> FindRow(Condition matches) {
  const std::optional<std::vector<ForwardRow>> table = ReadForwardTable();
  if (!table) return std::nullopt;
  for (const ForwardRow& row : *table) {
    if (matches(row)) return row;
  }
  return std::nullopt;
}

bool IsHostRoute(const ForwardRow& row, std::uint32_t dest) {
  return row.dest == dest && row.mask == kHostMask;
}

bool IsVerified(std::uint32_t dest) {
  const PhysicalRoute& physical = CurrentPhysicalRoute();
  std::uint32_t metric = 0;
  return FindExactHostRoute(dest, physical.gateway, physical.interface_index, &metric) &&
         metric <= kHighestGoodMetric;
}

void NoteExistingRoute(std::uint32_t dest, HostRouteResult& result) {
  std::uint32_t next_hop = 0;
  std::uint32_t interface_index = 0;
  if (!FindHostRoute(dest, &next_hop, &interface_index, nullptr)) return;
  result.existing_route_gateway = FormatIpv4(next_hop);
  result.existing_route_interface_index = std::to_string(interface_index);
}

ForwardRow PinnedRow(std::uint32_t dest) {
  const PhysicalRoute& physical = CurrentPhysicalRoute();
  return {.dest = dest,
          .mask = kHostMask,
          .next_hop = physical.gateway,
          .interface_index = physical.interface_index,
          .type = kRouteTypeIndirect,
          .proto = kRouteProtoManagement,
          .metric1 = kPinnedMetric};
}

std::uint32_t CreateGuarded(const ForwardRow& row) {
  CheckStartupMutation("CreateIpForwardEntry");
  const std::uint32_t status = CreateForwardRow(row);
  NoteRouteMutation();
  return status;
}

void DeleteGuarded(const ForwardRow& row) {
  CheckStartupMutation("DeleteIpForwardEntry");
  DeleteForwardRow(row);
  NoteRouteMutation();
}

HostRouteResult Failed(HostRouteResult result, const char* reason, const char* message) {
  result.add_success = false;
  result.failure_reason = reason;
  result.error_message = message;
  return result;
}

}  // namespace

bool FindHostRoute(std::uint32_t dest, std::uint32_t* next_hop, std::uint32_t* interface_index,
                   std::uint32_t* metric) {
  const std::optional<ForwardRow> found =
      FindRow([dest](const ForwardRow& row) { return IsHostRoute(row, dest); });
  if (!found) return false;
  if (next_hop != nullptr) *next_hop = found->next_hop;
  if (interface_index != nullptr) *interface_index = found->interface_index;
  if (metric != nullptr) *metric = found->metric1;
  return true;
}

bool FindExactHostRoute(std::uint32_t dest, std::uint32_t next_hop, std::uint32_t interface_index,
                        std::uint32_t* metric) {
  const std::optional<ForwardRow> found = FindRow([=](const ForwardRow& row) {
    return IsHostRoute(row, dest) && row.next_hop == next_hop &&
           row.interface_index == interface_index;
  });
  if (!found) return false;
  if (metric != nullptr) *metric = found->metric1;
  return true;
}

HostRouteResult AddHostRoute(const BypassIpEntry& entry) {
  const PhysicalRoute& physical = CurrentPhysicalRoute();
  HostRouteResult result;
  result.ip = entry.ip;
  result.source = entry.source;
  result.required = entry.required;
  result.gateway = FormatIpv4(physical.gateway);
  result.interface_index = std::to_string(physical.interface_index);
  const std::optional<std::uint32_t> dest = ParseIpv4(entry.ip);
  if (!dest) return Failed(result, "invalid_ip", "invalid_ip");
  NoteExistingRoute(*dest, result);
  if (IsVerified(*dest)) {
    result.already_exists = true;
    result.add_success = true;
    result.route_verify_success = true;
    result.existing_route_gateway = result.gateway;
    result.existing_route_interface_index = result.interface_index;
    return result;
  }

  result.add_attempted = true;
  const ForwardRow row = PinnedRow(*dest);
  result.win32_error_code = CreateGuarded(row);
  if (result.win32_error_code == 0) {
    // Recorded before it is verified: a route that fails verification must also be deleted later.
    AddedRouteList().push_back(row);
    result.add_success = true;
    result.route_verify_success = IsVerified(*dest);
    if (result.route_verify_success) return result;
    return Failed(result, "route_verify_failed", "route verify failed after add");
  }

  if (result.win32_error_code == kErrorObjectAlreadyExists) result.already_exists = true;
  NoteExistingRoute(*dest, result);
  result.route_verify_success = IsVerified(*dest);
  if (result.route_verify_success) {
    result.add_success = true;
    return result;
  }
  return Failed(result, "route_add_failed", "CreateIpForwardEntry failed");
}

bool ReAddHostRoute(const std::string& ip, std::string* detail) {
  const HostRouteResult result = AddHostRoute({.ip = ip, .source = "legacy", .required = true});
  if (detail != nullptr) {
    *detail = result.add_success
                  ? ip + ":added"
                  : ip + ":add_failed(" + std::to_string(result.win32_error_code) + ")";
  }
  return result.add_success;
}

AdminBypassState RemoveBypassRoutes() {
  AdminBypassState state = CurrentAdminBypassState();
  // A copy: beside an expiring timer, a connect may change the list meanwhile.
  const std::vector<ForwardRow> rows = AddedRouteList();
  for (const ForwardRow& row : rows) DeleteGuarded(row);
  AddedRouteList().clear();
  state.applied = false;
  state.routes_ready_before_tunnel = false;
  if (state.message.empty()) state.message = "admin bypass host routes removed";
  return StoreAndLogBypass(state);
}

}  // namespace veltrane
