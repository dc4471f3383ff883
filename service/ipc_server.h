#pragma once

#include <atomic>
#include <string>
#include <thread>

#include "platform/mutex.h"

namespace veltrane {

// The phases of the connection.
inline constexpr char kPhaseDisconnected[] = "disconnected";
inline constexpr char kPhaseConnecting[] = "connecting";
inline constexpr char kPhaseConnected[] = "connected";

// The phase and the node of the connection at one moment.
struct ConnectionPhase {
  std::string phase = kPhaseDisconnected;
  std::string node_id;  // empty in every phase except "connected"
};

// The control channel server, one per process: its threads, the client's session, and the phase of
// the connection.
struct IpcServer {
  // True while the pipe loop should keep serving clients.
  std::atomic<bool> running = false;
  // Runs the pipe loop, which handles every request.
  std::thread server_thread;
  // The auto-stop timer; still joinable after it has finished.
  std::thread auto_stop_thread;
  // Set to make the auto-stop thread return early.
  std::atomic<bool> auto_stop_cancel = false;
  // Guards phase and node_id; held only while they are copied or assigned.
  mutable Mutex state_mutex;
  // The nonce that a client registered; empty turns the session check off. Pipe thread only.
  std::string session_nonce;
  std::string phase VELTRANE_GUARDED_BY(state_mutex) = kPhaseDisconnected;
  // The node of the connection; empty in every phase except "connected".
  std::string node_id VELTRANE_GUARDED_BY(state_mutex);

  IpcServer() = default;
  IpcServer(const IpcServer&) = delete;
  IpcServer& operator=(const IpcServer&) = delete;

  // Cancels the timer and stops the server. If a thread is still joinable afterwards, the process
  // ends.
  ~IpcServer();

  // Starts the pipe thread; does nothing when the server is running. Throws std::system_error when
  // the thread cannot be created.
  void Start();

  // Cancels and joins the auto-stop thread, even when the server is not running; then ends the pipe
  // loop and joins its thread, which takes until the request that is being served has been answered
  // or the client that has sent nothing has gone; a call that comes while the next pipe is being
  // created waits for the next client. A second call does not wait for the first. Leaves
  // the tunnel, the bypass routes and the configuration file as they are. Throws std::system_error
  // when called on a thread that it joins.
  void Stop();

  // Sets the phase and the node under one lock of the mutex. Throws std::system_error when the
  // mutex cannot be locked.
  void SetPhase(const std::string& new_phase, const std::string& new_node_id = {});

  // Copies the phase and the node under one lock of the mutex. Throws std::system_error when the
  // mutex cannot be locked.
  ConnectionPhase Snapshot() const;
};

}  // namespace veltrane
