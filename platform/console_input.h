#pragma once

// What a person types at a console.
// Units: milliseconds; UTF-8.
// Threads: one.
// Windows: "Console Handles", "ReadConsoleInputW function".

#include <cstdint>
#include <optional>
#include <string>

namespace veltrane {

// Whether standard input and standard output are both consoles (GetConsoleMode).
bool IsConsoleInteractive();

// Throws away what was typed before anybody asked (FlushConsoleInputBuffer).
void DiscardTypedInput();

// A line that is being typed. It is shown while it is typed, and Backspace takes back a character;
// Ctrl+C is left to the system.
class TypedLine {
 public:
  // Waits at most this long, and never until a line is complete. Returns the line once Enter has
  // been pressed, and begins a new one; nullopt before that, and when standard input is not a
  // console, or is closed, which takes the whole time too.
  std::optional<std::string> Read(std::uint32_t milliseconds);

 private:
  std::wstring typed_;
};

}  // namespace veltrane
