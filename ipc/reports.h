#pragma once

// Replies that carry the service's two reports, "admin_bypass" before "poc_route_guard", behind the
// members of the envelope. Pure functions; codes and messages are copied without escaping.

#include <string>

#include "bypass/records.h"
#include "guard/route_guard_result.h"

namespace veltrane {

// The failure reply with both reports.
std::string MakeErrorReplyWithReports(const std::string& error, const std::string& message,
                                      const AdminBypassState& bypass,
                                      const RouteGuardResult& guard);

// Puts both reports inside the object that `reply` ends with; a text that does not end in "}" comes
// back unchanged.
std::string AppendReports(const std::string& reply, const AdminBypassState& bypass,
                          const RouteGuardResult& guard);

}  // namespace veltrane
