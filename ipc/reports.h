#pragma once

// Replies that carry the two reports: after the members of the envelope come "admin_bypass" and
// "poc_route_guard". Error codes and messages are copied without escaping. Pure functions.

#include <string>

#include "bypass/records.h"
#include "guard/route_guard_result.h"

namespace veltrane {

// Returns an error reply with both reports.
std::string MakeErrorReplyWithReports(const std::string& error, const std::string& message,
                                      const AdminBypassState& bypass,
                                      const RouteGuardResult& guard);

// Inserts both reports before the closing brace of `reply`; returns a reply that does not end in
// "}" unchanged.
std::string AppendReports(const std::string& reply, const AdminBypassState& bypass,
                          const RouteGuardResult& guard);

}  // namespace veltrane
