#pragma once

// The commands that talk to the service. Each prints its outcome and returns the exit code.

#include <cstdint>
#include <string>

#include "client/exit_codes.h"
#include "client/screens/display.h"

namespace veltrane {

struct StatusOptions {
  bool json = false;
  bool watch = false;
  std::uint32_t every_seconds = 2;
  std::uint32_t times = 0;  // 0: for ever
  bool any_server = false;
};

struct ConnectOptions {
  std::string profile;  // a path, or "-"
  std::string node_id;
  std::string session;
  bool json = false;
  bool any_server = false;
};

struct DisconnectOptions {
  bool json = false;
  bool any_server = false;
};

struct RegisterOptions {
  std::string nonce;
  bool json = false;
  bool any_server = false;
};

ExitCode RunStatus(const StatusOptions& options, Display& display);
ExitCode RunConnect(const ConnectOptions& options, Display& display);
ExitCode RunDisconnect(const DisconnectOptions& options, Display& display);
ExitCode RunRegister(const RegisterOptions& options, Display& display);

}  // namespace veltrane
