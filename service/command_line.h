#pragma once

namespace veltrane {

// Runs the process in the mode that the command line selects, and returns its exit code. `argv`
// holds `argc` wide strings, the program path first.
int RunCommandLine(int argc, const wchar_t* const* argv);

}  // namespace veltrane
