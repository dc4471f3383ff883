#include "platform/windows/arguments.h"

#include <cstddef>

namespace veltrane {

std::wstring QuotedArgument(const std::wstring& argument) {
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t unit : argument) {
    if (unit == L'"') quoted.append(backslashes + 1, L'\\');
    backslashes = unit == L'\\' ? backslashes + 1 : 0;
    quoted += unit;
  }
  quoted.append(backslashes, L'\\');
  return quoted + L"\"";
}

}  // namespace veltrane
