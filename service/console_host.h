#pragma once

// Runs the control channel server in the foreground.

#include <cstdint>

namespace veltrane {

// The "--console" mode: installs the console handler, prints the passive startup report, starts the
// server, and returns 0 after Ctrl+C, Ctrl+Break or the closing of the console window.
int RunConsole();

// The console control handler, which the system calls on a new thread. For the control types 0, 1
// and 2 it stops the server, then returns true; for any other it does nothing and returns false.
bool HandleConsoleControl(std::uint32_t control_type);

}  // namespace veltrane
