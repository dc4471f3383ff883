#include "platform/console.h"

#include <windows.h>

#include <cstdio>
#include <iostream>

namespace veltrane {
namespace {

static_assert(kConsoleCtrlC == CTRL_C_EVENT);
static_assert(kConsoleCtrlBreak == CTRL_BREAK_EVENT);
static_assert(kConsoleClose == CTRL_CLOSE_EVENT);

// The system's callback carries no context. An exception must not unwind into the system.
bool (*console_handler)(std::uint32_t control_type) = nullptr;

BOOL WINAPI CallConsoleHandler(DWORD control_type) noexcept {
  return console_handler(control_type);
}

}  // namespace

void PrintOutput(const std::wstring& text) {
  std::wcout << text << std::flush;
  std::wcout.clear();  // a character that cannot be converted must not block later output
}

// The C library buffers a redirected standard error, and abort() would lose the buffer.
void PrintError(const std::wstring& text) {
  std::fputws(text.c_str(), stderr);
  std::fflush(stderr);
}

void PrintErrorLine(const std::wstring& prefix, const std::string& narrow) {
  std::fwprintf(stderr, L"%ls%hs\n", prefix.c_str(), narrow.c_str());
  std::fflush(stderr);
}

void PrintDebugger(const std::wstring& text) { OutputDebugStringW(text.c_str()); }

void InstallConsoleHandler(bool (*handler)(std::uint32_t control_type)) {
  console_handler = handler;
  SetConsoleCtrlHandler(CallConsoleHandler, TRUE);
}

}  // namespace veltrane
