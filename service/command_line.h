#pragma once

namespace veltrane {

// Runs the process in the mode that the command line asks for and returns its exit code. `argv`
// holds `argc` wide texts, the program path first.
int RunCommandLine(int argc, const wchar_t* const* argv);

}  // namespace veltrane
