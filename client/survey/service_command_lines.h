#pragma once

// The command lines with which services are registered. Pure functions.

#include <string>

namespace veltrane {

// Returns the program: the quoted text at the beginning, or everything up to a space.
inline std::wstring ProgramOf(const std::wstring& command_line) {
  if (command_line.substr(0, 1) == L"\"") {
    return command_line.substr(1, command_line.find(L'"', 1) - 1);
  }
  return command_line.substr(0, command_line.find(L' '));
}

// Returns the last quoted argument: that of the tunnel service is the path of its configuration
// file. Empty when there is none.
inline std::wstring LastQuoted(const std::wstring& command_line) {
  const std::size_t end = command_line.rfind(L'"');
  if (end == std::wstring::npos || end == 0) return {};
  const std::size_t begin = command_line.rfind(L'"', end - 1);
  return begin == std::wstring::npos ? L"" : command_line.substr(begin + 1, end - begin - 1);
}

}  // namespace veltrane
