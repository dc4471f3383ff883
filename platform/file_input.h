#pragma once

// Reading whole files. May be called on any thread.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace veltrane {

inline constexpr std::uint32_t kErrorFileTooLarge = 223;  // ERROR_FILE_TOO_LARGE

// Receives the bytes of a file piece by piece. The pieces lie in memory that is wiped afterwards.
using ByteSink = std::function<void(std::string_view piece)>;

// Reads a file whose path is UTF-8, letting others read and write it meanwhile. Returns 0 or the
// Win32 error: 2 or 3 when it is not there, 5 for a folder or without the right to read it, 223
// when it holds more than `limit` bytes.
std::uint32_t ReadFileBytes(const std::string& path, std::size_t limit, const ByteSink& sink);

// Reads standard input to its end; 223 when it holds more than `limit` bytes.
std::uint32_t ReadStandardInput(std::size_t limit, const ByteSink& sink);

}  // namespace veltrane
