#pragma once

#include <cstdint>
#include <string>

namespace veltrane {

// " (Windows error 5)", to end a message with.
inline std::string WindowsError(std::uint32_t error) {
  return " (Windows error " + std::to_string(error) + ")";
}

}  // namespace veltrane
