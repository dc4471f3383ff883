#pragma once

// Message-mode named pipes: the server's instances. The test's end is in pipe_client.h.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/pipes.h"
#include "tests/simulated/core.h"

namespace veltrane::simulated {

// One instance that was created: the arguments, and the access list, nullopt for default security.
struct CreatedPipe {
  PipeParameters parameters;
  std::optional<std::vector<AccessEntry>> access;
};

// Flushing waits until the client has read everything or gone: a test that sends a request must
// also receive, or close. How often the server flushed, disconnected or closed: Calls::Count.
//
// A pipe server that is told to stop by connecting to it misses the call when it has no instance at
// that moment. Before stopping one after an exchange, call WaitUntilServerWaits.
// Every member may be called on any thread.
class Pipes {
 public:
  explicit Pipes(Core& core) : core_(core) {}

  // Every instance created so far, in order.
  std::vector<CreatedPipe> Created() const;

  // The instances that are open, of all names.
  std::size_t OpenInstances() const;

  // Waits until a thread of the program is blocked in WaitForClient (see kPatience), so that the
  // next client is served by that wait.
  void WaitUntilServerWaits();
  bool ServerWaits() const;

  // Waits until that many attempts to open a pipe have found no free instance (see kPatience).
  void WaitUntilRefused(std::size_t count);

  // What is now in the memory that a server last read into: for a hook on the server's own thread.
  std::string LastReadBuffer() const;

  // For the boundary functions and PipeClient.
  struct Connection {
    bool client_open = true;
    bool server_open = true;
    std::deque<std::string> to_server;
    std::deque<std::string> to_client;
  };
  struct Instance {
    PipeParameters parameters;
    bool listening = true;
    bool waiting = false;
    std::shared_ptr<Connection> connection;
  };
  Instance* Create(const PipeParameters& parameters, const SecurityAttributes* attributes);
  std::uint32_t WaitForClient(Instance& instance);
  std::optional<std::size_t> Read(Instance& instance, std::span<char> buffer);
  void Write(Instance& instance, std::string_view bytes);
  void Flush(Instance& instance);
  void Disconnect(Instance& instance);
  void Close(Instance* instance);
  void EndProcess();

  // For a server that waits for other things too, and so never blocks here.
  bool IsServed(const std::wstring& name) const;
  void Listen(Instance& instance);  // after Disconnect
  enum class Presence { kNobody, kHere, kGone };
  Presence ClientOf(const Instance& instance) const;
  std::optional<std::string> TakeMessage(Instance& instance);

  // The client's side; `error` is 0, 2 (no such pipe) or 231 (all instances busy).
  struct Opened {
    std::shared_ptr<Connection> connection;
    std::uint32_t error = 0;
  };
  Opened TryOpen(const std::wstring& name);
  std::shared_ptr<Connection> WaitAndOpen(const std::wstring& name);

  // 0 once an instance is free; 2 without an instance, 121 when none becomes free in that much of
  // real time.
  std::uint32_t WaitUntilFree(const std::wstring& name, std::uint32_t milliseconds);

  // Waits for a message of the server or its end, at most this long; false when none came.
  bool WaitForServer(Connection& connection, std::uint32_t milliseconds);
  bool Send(Connection& connection, std::string_view message);
  std::optional<std::string> Receive(Connection& connection);
  void CloseClient(Connection& connection);

 private:
  bool ServerWaitsLocked() const;
  Opened OpenLocked(const std::wstring& name);

  Core& core_;
  std::vector<std::unique_ptr<Instance>> instances_;
  std::vector<CreatedPipe> created_;
  std::span<const char> read_buffer_;
  std::size_t refused_ = 0;
};

}  // namespace veltrane::simulated
