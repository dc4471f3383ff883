#pragma once

// Standard output, standard error, debugger output and console events.
// Errors: not reported; output that cannot be written is lost.
// Threads: any.
// Windows: "Console Control Handlers", "OutputDebugStringW".

#include <cstdint>
#include <string>

namespace veltrane {

// Writes a string to the wide standard output stream and flushes the stream.
void PrintOutput(const std::wstring& text);

// Writes a string to standard error, adding nothing, and flushes it.
void PrintError(const std::wstring& text);

// Writes a wide prefix, a narrow string (as the C library's "%hs" conversion widens it) and a line
// feed to standard error, and flushes it.
void PrintErrorLine(const std::wstring& prefix, const std::string& narrow);

// Sends a string to the debugger (OutputDebugStringW).
void PrintDebugger(const std::wstring& text);

// Console event types: CTRL_C_EVENT, CTRL_BREAK_EVENT, CTRL_CLOSE_EVENT. Log-off is 5, shutdown 6.
inline constexpr std::uint32_t kConsoleCtrlC = 0;
inline constexpr std::uint32_t kConsoleCtrlBreak = 1;
inline constexpr std::uint32_t kConsoleClose = 2;

// Installs the process's console control handler (SetConsoleCtrlHandler). The system calls it on a
// new thread with the event type; it returns true when it has handled the event.
void InstallConsoleHandler(bool (*handler)(std::uint32_t control_type));

}  // namespace veltrane
