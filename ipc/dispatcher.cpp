#include "ipc/dispatcher.h"

#include "bypass/host_routes.h"
#include "bypass/records.h"
#include "guard/route_guard_result.h"
#include "ipc/auto_stop.h"
#include "ipc/connect_sequence.h"
#include "ipc/message_codec.h"
#include "ipc/reports.h"
#include "tunnel/active_conf.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {
namespace {

// Only the service decides which file the tunnel runs from. A request is refused when one of these
// words occurs anywhere in it, even inside a value or a longer key.
bool MentionsConfigPath(const std::string& request) {
  for (const char* word : {"config_path", "wg_quick_config", "wgQuickConfig", "conf_path"}) {
    if (request.find(word) != std::string::npos) return true;
  }
  return false;
}

// The reply says "disconnected" in every phase; "status" reports the actual one.
std::string RegisterSession(IpcServer& server, const std::string& request) {
  server.session_nonce = ReadStringField(request, "session_nonce");
  return MakeOkReply(kPhaseDisconnected, "");
}

std::string Status(IpcServer& server) {
  const ConnectionPhase state = server.Snapshot();
  std::string reply = MakeOkReply(state.phase, state.node_id);
  reply.pop_back();  // the closing brace: one more member follows
  reply += std::string(",\"tunnel_running\":") + (TunnelManager::IsRunning() ? "true" : "false");
  reply += "}";
  // The timer may replace the record while the reply is written.
  const AdminBypassState bypass = CurrentAdminBypassState();
  return AppendReports(reply, bypass, RouteGuardResult{});
}

// Runs the steps of Teardown one by one, because the reply reports the outcome of the second.
std::string Disconnect(IpcServer& server) {
  CancelAutoStop(server);
  TunnelManager::Stop();
  const AdminBypassState bypass = RemoveBypassRoutes();
  DeleteActiveConf(nullptr);
  server.SetPhase(kPhaseDisconnected);
  return AppendReports(MakeOkReply(kPhaseDisconnected, ""), bypass, RouteGuardResult{});
}

std::string CheckSessionAndConnect(IpcServer& server, const std::string& request) {
  const std::string nonce = ReadStringField(request, "session_nonce");
  if (!server.session_nonce.empty() && nonce != server.session_nonce) {
    return MakeErrorReply("session_mismatch", "invalid session");
  }
  return Connect(server, request);
}

}  // namespace

std::string HandleRequest(IpcServer& server, const std::string& request) {
  if (MentionsConfigPath(request)) {
    return MakeErrorReply("forbidden_path", "config paths not accepted from UI");
  }
  const std::string op = ReadOp(request);
  if (op == "register_session") return RegisterSession(server, request);
  if (op == "status") return Status(server);
  if (op == "disconnect") return Disconnect(server);
  if (op == "connect") return CheckSessionAndConnect(server, request);
  return MakeErrorReply("unknown_op", "unsupported operation");
}

}  // namespace veltrane
