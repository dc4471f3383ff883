#include "ipc/reports.h"

#include "bypass/report.h"
#include "guard/report.h"
#include "ipc/message_codec.h"

namespace veltrane {

std::string MakeErrorReplyWithReports(const std::string& error, const std::string& message,
                                      const AdminBypassState& bypass,
                                      const RouteGuardResult& guard) {
  return AppendReports(MakeErrorReply(error, message), bypass, guard);
}

std::string AppendReports(const std::string& reply, const AdminBypassState& bypass,
                          const RouteGuardResult& guard) {
  if (!reply.ends_with('}')) return reply;
  return reply.substr(0, reply.size() - 1) + "," + FormatAdminBypassReport(bypass) + "," +
         FormatRouteGuardReport(guard) + "}";
}

}  // namespace veltrane
