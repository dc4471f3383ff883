#pragma once

// The fixture of tests that talk to a running pipe server.

#include "ipc/pipe_server.h"
#include "tests/simulated/pipe_client.h"
#include "tests/support/on_machine.h"

namespace veltrane {

// Stops the server at the end of a test that started it.
class OnPipeServer : public OnMachine {
 protected:
  void TearDown() override { StopServer(); }

  // Every exchange must have ended; the server then stops at its next connection.
  void StopServer() {
    if (!server.running) return;
    machine.pipes.WaitUntilServerWaits();
    server.Stop();
  }

  IpcServer server;
};

}  // namespace veltrane
