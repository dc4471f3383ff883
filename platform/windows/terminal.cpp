#include "platform/terminal.h"

#include <windows.h>

#include <array>
#include <atomic>
#include <string>

#include "platform/windows/utf16.h"

namespace veltrane {
namespace {

HANDLE HandleOf(Stream stream) {
  return GetStdHandle(stream == Stream::kOutput ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

// The terminals whose mode was changed, in order, with the mode before. Two streams may share one.
struct ChangedTerminal {
  HANDLE handle;
  DWORD mode;
};
std::array<ChangedTerminal, 2> changed_terminals;
std::atomic<std::size_t> changed_count = 0;

// Restores on the thread that Windows starts for an interrupt, and leaves the rest to it.
BOOL WINAPI RestoreBeforeEnd(DWORD) noexcept {
  RestoreTerminals();
  return FALSE;
}

void ChangeMode(HANDLE handle, DWORD mode) {
  const std::size_t count = changed_count;
  if (count == changed_terminals.size()) return;
  if (count == 0) SetConsoleCtrlHandler(RestoreBeforeEnd, TRUE);
  changed_terminals[count] = {handle, mode};
  changed_count = count + 1;
  SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

bool IsConsole(HANDLE handle) {
  DWORD mode = 0;
  return GetConsoleMode(handle, &mode) != 0;
}

void WriteToConsole(HANDLE console, std::string_view utf8) {
  const std::wstring wide = ToUtf16(utf8);
  DWORD written = 0;
  WriteConsoleW(console, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
}

}  // namespace

void WriteStream(Stream stream, std::string_view utf8) {
  const HANDLE handle = HandleOf(stream);
  if (utf8.empty()) return;
  if (IsConsole(handle)) return WriteToConsole(handle, utf8);
  DWORD written = 0;
  WriteFile(handle, utf8.data(), static_cast<DWORD>(utf8.size()), &written, nullptr);
}

std::optional<std::size_t> TerminalColumns(Stream stream) {
  const HANDLE handle = HandleOf(stream);
  DWORD mode = 0;
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (!GetConsoleMode(handle, &mode) || !GetConsoleScreenBufferInfo(handle, &info)) {
    return std::nullopt;
  }
  ChangeMode(handle, mode);
  return static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1);
}

void RestoreTerminals() {
  for (std::size_t i = changed_count; i-- > 0;) {
    SetConsoleMode(changed_terminals[i].handle, changed_terminals[i].mode);
  }
}

}  // namespace veltrane
