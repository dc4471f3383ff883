#pragma once

// The fixture of tests that hand requests to a server.

#include <future>
#include <string>

#include "service/ipc_server.h"
#include "tests/support/noted_exchange.h"
#include "tests/support/on_machine.h"

namespace veltrane {

// A server that has just been made. No pipe thread runs: Handle stands for it.
class OnServer : public OnMachine {
 protected:
  std::string Handle(const std::string& request) { return HandleNoted(server, request); }

  // The phase and, when there is one, the node: "connecting", "connected fra-1". For any thread.
  std::string PhaseAndNode() {
    const ConnectionPhase state = server.Snapshot();
    return state.node_id.empty() ? state.phase : state.phase + " " + state.node_id;
  }

  // Whether another thread could read the phase at this moment.
  bool PhaseIsReadable() {
    return std::async(std::launch::async,
                      [this] {
                        const bool free = server.state_mutex.TryLock();
                        if (free) server.state_mutex.Unlock();
                        return free;
                      })
        .get();
  }

  IpcServer server;
};

}  // namespace veltrane
