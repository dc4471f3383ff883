#pragma once

// The fixture of tests that hand requests to a server.

#include <future>
#include <mutex>
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
    const std::lock_guard<std::mutex> lock(server.state_mutex);
    return server.node_id.empty() ? server.phase : server.phase + " " + server.node_id;
  }

  // Whether another thread could read the phase at this moment.
  bool PhaseIsReadable() {
    return std::async(std::launch::async,
                      [this] {
                        const std::unique_lock<std::mutex> lock(server.state_mutex,
                                                                std::try_to_lock);
                        return lock.owns_lock();
                      })
        .get();
  }

  IpcServer server;
};

}  // namespace veltrane
