#pragma once

// The control channel server in the foreground.

#include <cstdint>

namespace veltrane {

// The mode "--console": installs the console handler, prints the passive startup report, starts the
// server and returns 0 after Ctrl+C, Ctrl+Break or the closing of the console window.
int RunConsole();

// The console control handler, called by the system on a thread of its own. Control types 0, 1 and
// 2 stop the server before it returns true; every other type does nothing and returns false.
bool HandleConsoleControl(std::uint32_t control_type);

}  // namespace veltrane
