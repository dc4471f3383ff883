#pragma once

// The replies of the service, read into records.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bypass/records.h"
#include "guard/route_guard_result.h"

namespace veltrane {

// One address that the bypass selected.
struct SelectedAddress {
  std::string ip;
  std::string source;
  bool required = false;
};

// The member "admin_bypass". The array texts of the state stay empty; the lists hold them.
struct BypassReport {
  AdminBypassState state;
  std::vector<std::string> admin_tokens;
  std::vector<SelectedAddress> selected;
  std::vector<HostRouteResult> routes;
};

// A reply. Members that it does not have are empty.
struct Reply {
  bool ok = false;
  std::string phase;
  std::string node_id;
  std::string error;
  std::string message;
  std::optional<bool> tunnel_running;
  std::optional<BypassReport> bypass;
  std::optional<RouteGuardResult> guard;
};

// Reads a reply. The service escapes double quotes and backslashes in its reports and nothing else,
// so control characters inside texts are accepted, and ill-formed UTF-8 is replaced. nullopt for a
// text that is no JSON object even so, as when a node id with a double quote broke it.
std::optional<Reply> ReadReply(std::string_view text);

}  // namespace veltrane
