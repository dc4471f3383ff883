#pragma once

// Standard output, standard error, the debugger and console events. Failures of an output are
// ignored. May be called on any thread.

#include <cstdint>
#include <string>

namespace veltrane {

// Writes a text to the wide standard output stream and flushes it.
void PrintOutput(const std::wstring& text);

// Writes a text to standard error as it stands.
void PrintError(const std::wstring& text);

// Writes a wide prefix, a narrow text (conversion "%hs" of the C library's wide formats) and a line
// feed to standard error.
void PrintErrorLine(const std::wstring& prefix, const std::string& narrow);

// Hands a text to the debugger output (OutputDebugStringW).
void PrintDebugger(const std::wstring& text);

// Installs the process's console control handler (SetConsoleCtrlHandler). The system calls it on a
// thread of its own with the control type: 0 Ctrl+C, 1 Ctrl+Break, 2 close, 5 log-off, 6 shutdown;
// true means handled.
void InstallConsoleHandler(bool (*handler)(std::uint32_t control_type));

}  // namespace veltrane
