#include "platform/console_input.h"

#include <windows.h>

#include <string_view>
#include <utility>

#include "platform/text.h"

namespace veltrane {
namespace {

HANDLE Input() { return GetStdHandle(STD_INPUT_HANDLE); }

bool IsConsole(DWORD stream) {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(stream), &mode) != 0;
}

void Show(std::wstring_view text) {
  DWORD written = 0;
  WriteConsoleW(GetStdHandle(STD_OUTPUT_HANDLE), text.data(), static_cast<DWORD>(text.size()),
                &written, nullptr);
}

// Adds what a key gives to the line. True when that is Enter.
bool Take(wchar_t key, std::wstring& line) {
  if (key == L'\r') {
    Show(L"\r\n");
    return true;
  }
  if (key == L'\b' && !line.empty()) {
    line.pop_back();
    Show(L"\b \b");
  } else if (key >= L' ') {
    line += key;
    Show({&key, 1});
  }
  return false;
}

// Takes the next event of the console, if there is one, and the key that it says was pressed. False
// when standard input cannot be read as a console.
bool ReadEvent(std::optional<wchar_t>& key) {
  DWORD count = 0;
  if (!GetNumberOfConsoleInputEvents(Input(), &count)) return false;
  if (count == 0) return true;
  INPUT_RECORD record{};
  if (!ReadConsoleInputW(Input(), &record, 1, &count)) return false;
  if (count > 0 && record.EventType == KEY_EVENT && record.Event.KeyEvent.bKeyDown) {
    key = record.Event.KeyEvent.uChar.UnicodeChar;
  }
  return true;
}

}  // namespace

bool IsConsoleInteractive() { return IsConsole(STD_INPUT_HANDLE) && IsConsole(STD_OUTPUT_HANDLE); }

void DiscardTypedInput() { FlushConsoleInputBuffer(Input()); }

std::optional<std::string> TypedLine::Read(std::uint32_t milliseconds) {
  const ULONGLONG until = GetTickCount64() + milliseconds;
  for (;;) {
    const ULONGLONG now = GetTickCount64();
    const DWORD left = until > now ? static_cast<DWORD>(until - now) : 0;
    const DWORD waited = WaitForSingleObject(Input(), left);
    if (waited == WAIT_TIMEOUT) return std::nullopt;
    std::optional<wchar_t> key;
    if (waited != WAIT_OBJECT_0 || !ReadEvent(key)) {
      Sleep(left);
      return std::nullopt;
    }
    if (key && Take(*key, typed_)) return WideToUtf8(std::exchange(typed_, {}));
    if (GetTickCount64() >= until) return std::nullopt;
  }
}

}  // namespace veltrane
