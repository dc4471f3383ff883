#pragma once

// The commands. Each prints its result and returns the exit code.

#include <cstdint>
#include <string>
#include <vector>

#include "client/exit_codes.h"
#include "client/screens/display.h"

namespace veltrane {

// What the command line asks for.
struct Options {
  // For every command.
  bool json = false;
  bool any_server = false;

  // For status.
  bool watch = false;
  std::uint32_t every_seconds = 2;
  std::uint32_t times = 0;  // 0: until interrupted

  // For connect and doctor.
  std::string profile;            // a path, or "-"; doctor does without one
  std::vector<std::string> from;  // addresses

  // For connect.
  std::string node_id;
  std::string session;
  std::vector<std::string> accepted_risks;  // "lose-remote-administration", "leaks"
  bool split_default = false;
  std::uint32_t confirm_seconds = 0;  // 0: without a confirmation
  std::uint32_t wait_seconds = 0;     // 0: not at all

  // For register.
  std::string nonce;

  // For watchdog, whose node is in node_id.
  std::uint32_t seconds = 0;
};

ExitCode RunStatus(const Options& options, Display& display);
ExitCode RunConnect(const Options& options, Display& display);
ExitCode RunDisconnect(const Options& options, Display& display);
ExitCode RunRegister(const Options& options, Display& display);
ExitCode RunDoctor(const Options& options, Display& display);
ExitCode RunConfirm(const Options& options, Display& display);

// The process that connect starts. Nobody types this command.
ExitCode RunWatchdog(const Options& options, Display& display);

}  // namespace veltrane
