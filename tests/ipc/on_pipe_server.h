#pragma once

// The fixture of tests that talk to a running pipe server.

#include <cstddef>
#include <string>

#include "ipc/pipe_server.h"
#include "tests/simulated/pipe_client.h"
#include "tests/support/on_server.h"
#include "tests/support/steps.h"

namespace veltrane {

// The calls of one connection: waiting for a client, a request that is answered by 67 bytes (so
// long is kUnknown), one that is not, the end.
inline const Texts kWaits = {"ServerPipe.Create \\\\.\\pipe\\VeltraneVpn",
                             "ServerPipe.WaitForClient"};
inline const Texts kAnswers = {"ServerPipe.Read 65535", "ServerPipe.Write 67 bytes"};
inline const Texts kReads = {"ServerPipe.Read 65535"};
inline const Texts kEnds = {"ServerPipe.Flush", "ServerPipe.Disconnect", "ServerPipe.Close"};

inline const std::string kUnknown =
    R"({"ok":false,"error":"unknown_op","message":"unsupported operation"})";

// A request of exactly this size that registers the session "last" at its end.
inline std::string RequestOfSize(std::size_t size) {
  const std::string begin = R"({"padding":")";
  const std::string end = R"(","op":"register_session","session_nonce":"last"})";
  return begin + std::string(size - begin.size() - end.size(), 'x') + end;
}

// Stops the server at the end of a test that started it.
class OnPipeServer : public OnServer {
 protected:
  void TearDown() override { StopServer(); }

  // Every exchange must have ended; the server then stops at its next connection.
  void StopServer() {
    if (!server.running) return;
    machine.pipes.WaitUntilServerWaits();
    server.Stop();
  }

  // The calls of the pipe so far, once the server waits for the next client.
  Texts Connections() {
    machine.pipes.WaitUntilServerWaits();
    return machine.calls.StartingWith("ServerPipe.");
  }
};

}  // namespace veltrane
