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

// Types of a console event (CTRL_C_EVENT and its like); 5 is log-off, 6 shutdown.
inline constexpr std::uint32_t kConsoleCtrlC = 0;
inline constexpr std::uint32_t kConsoleCtrlBreak = 1;
inline constexpr std::uint32_t kConsoleClose = 2;

// Installs the process's console control handler (SetConsoleCtrlHandler). The system calls it on a
// thread of its own with the type of the event; true means handled.
void InstallConsoleHandler(bool (*handler)(std::uint32_t control_type));

}  // namespace veltrane
