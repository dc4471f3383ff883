#include "platform/terminal.h"

#include <windows.h>

#include <string>

namespace veltrane {
namespace {

HANDLE HandleOf(Stream stream) {
  return GetStdHandle(stream == Stream::kOutput ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

bool IsConsole(HANDLE handle) {
  DWORD mode = 0;
  return GetConsoleMode(handle, &mode) != 0;
}

void WriteToConsole(HANDLE console, std::string_view utf8) {
  const int bytes = static_cast<int>(utf8.size());
  const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, nullptr, 0);
  if (length <= 0) return;
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, wide.data(), length);
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
  SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
  return static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1);
}

}  // namespace veltrane
