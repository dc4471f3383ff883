#include "service/ipc_server.h"

#include "ipc/auto_stop.h"
#include "ipc/pipe_name.h"
#include "ipc/pipe_server.h"
#include "platform/pipes.h"
#include "service/startup_guard.h"

namespace veltrane {

IpcServer::~IpcServer() {
  CancelAutoStop(*this);
  Stop();
}

void IpcServer::Start() {
  if (running.exchange(true)) return;
  server_thread = std::thread([this] { RunPipeServer(*this); });
}

void IpcServer::Stop() {
  CancelAutoStop(*this);
  if (!running.exchange(false)) return;
  MarkStopRequested();
  // The pipe loop is blocked waiting for a client; connecting as one wakes it. A loop that has just
  // seen `running` set and is about to create its pipe is not reached: it takes one more client,
  // and the join waits for it. Whoever destroys the server meanwhile ends the process, because the
  // thread is still joinable.
  OpenAndClosePipe(kPipeName);
  if (server_thread.joinable()) server_thread.join();
}

void IpcServer::SetPhase(const std::string& new_phase, const std::string& new_node_id) {
  const MutexLock lock(state_mutex);
  phase = new_phase;
  node_id = new_node_id;
}

ConnectionPhase IpcServer::Snapshot() const {
  const MutexLock lock(state_mutex);
  return {.phase = phase, .node_id = node_id};
}

}  // namespace veltrane
