#pragma once

#include <optional>
#include <string>
#include <thread>

#include "platform/pipes.h"

namespace veltrane {

// Serves the pipe without being the service, on a thread of its own.
class ScriptedServer {
 public:
  // Takes one request and answers with this text, or with nothing when it is empty.
  explicit ScriptedServer(const std::string& reply)
      : pipe_(ServerPipe::Create({.name = L"\\\\.\\pipe\\VeltraneVpn",
                                  .open_mode = 3,
                                  .pipe_mode = 6,
                                  .max_instances = 1,
                                  .out_buffer_bytes = 65536,
                                  .in_buffer_bytes = 65536,
                                  .default_timeout_ms = 0},
                                 nullptr)),
        thread_([this, reply] { Serve(reply); }) {}
  ~ScriptedServer() {
    if (thread_.joinable()) thread_.join();
  }

  // What the client has sent, once it has gone.
  std::string Request() {
    thread_.join();
    return request_;
  }

 private:
  void Serve(const std::string& reply) {
    if (pipe_->WaitForClient() == 232) return;
    std::string buffer(65536, '\0');
    const auto size = pipe_->Read(buffer);
    request_ = buffer.substr(0, size.value_or(0));
    if (size && !reply.empty()) pipe_->Write(reply);
    pipe_->Flush();
    pipe_->Disconnect();
  }

  std::optional<ServerPipe> pipe_;
  std::string request_;
  std::thread thread_;
};

}  // namespace veltrane
