#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>

namespace veltrane {

// The phases of the connection.
inline constexpr char kPhaseDisconnected[] = "disconnected";
inline constexpr char kPhaseConnecting[] = "connecting";
inline constexpr char kPhaseConnected[] = "connected";

// The one control channel server of the process: its threads, the client's session and the phase
// of the connection.
struct IpcServer {
  // True while the pipe loop is to keep serving.
  std::atomic<bool> running = false;
  // Runs the pipe loop, and with it every request.
  std::thread server_thread;
  // The auto-stop timer; stays joinable after it has run to its end.
  std::thread auto_stop_thread;
  // Set to make the auto-stop thread give up.
  std::atomic<bool> auto_stop_cancel = false;
  // Guards phase and node_id, and is held only to copy or assign them.
  std::mutex state_mutex;
  // The nonce that the client registered; empty switches the session check off. Pipe thread only.
  std::string session_nonce;
  std::string phase = kPhaseDisconnected;
  // The node of the connection; empty in every phase but "connected".
  std::string node_id;

  IpcServer() = default;
  IpcServer(const IpcServer&) = delete;
  IpcServer& operator=(const IpcServer&) = delete;

  // Cancels the timer and stops the server. A thread that is still joinable afterwards ends the
  // process.
  ~IpcServer();

  // Starts the pipe thread; does nothing when the server runs. Throws std::system_error when the
  // thread cannot be created.
  void Start();

  // Cancels and joins the auto-stop thread, also when the server does not run; then ends the pipe
  // loop and joins its thread. The tunnel, the bypass routes and the configuration file stay as
  // they are. Throws std::system_error when called on a thread that it joins.
  void Stop();

  // Sets the phase and the node in one hold of the mutex. Throws std::system_error when the mutex
  // cannot be locked.
  void SetPhase(const std::string& new_phase, const std::string& new_node_id = {});
};

}  // namespace veltrane
