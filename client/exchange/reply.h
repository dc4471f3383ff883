#pragma once

// Reading the replies of the service.

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

// The member "admin_bypass". Its arrays are in the lists, and the array texts of the state are
// empty.
struct BypassReport {
  AdminBypassState state;
  std::vector<std::string> admin_tokens;
  std::vector<SelectedAddress> selected;
  std::vector<HostRouteResult> routes;
};

// A reply. Members that it lacks are empty.
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

// Reads a reply. The service escapes only double quotes and backslashes in its reports, so control
// characters inside strings are accepted, and ill-formed UTF-8 is replaced. nullopt for a text that
// is still not a JSON object, such as one broken by a node id with a double quote.
std::optional<Reply> ReadReply(std::string_view text);

}  // namespace veltrane
