#include "platform/text.h"

#include <windows.h>

namespace veltrane {

std::string WideToUtf8(const std::wstring& wide) {
  if (wide.empty()) return {};
  const int wide_length = static_cast<int>(wide.size());
  const int length =
      WideCharToMultiByte(CP_UTF8, 0, wide.data(), wide_length, nullptr, 0, nullptr, nullptr);
  if (length <= 0) return {};
  std::string utf8(static_cast<std::size_t>(length), '\0');
  const int written = WideCharToMultiByte(CP_UTF8, 0, wide.data(), wide_length, utf8.data(), length,
                                          nullptr, nullptr);
  return written == length ? utf8 : std::string();
}

}  // namespace veltrane
