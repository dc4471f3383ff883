#pragma once

// Reading whole files, and standard input.
// Errors: 0 on success, otherwise the Win32 error.
// Threads: any.
// Windows: "File Management Functions".

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace veltrane {

inline constexpr std::uint32_t kErrorBadFileType = 222;   // ERROR_BAD_FILE_TYPE
inline constexpr std::uint32_t kErrorFileTooLarge = 223;  // ERROR_FILE_TOO_LARGE

// Receives the bytes of a file, one piece per call. The memory of the pieces is wiped afterwards.
using ByteSink = std::function<void(std::string_view piece)>;

// Reads the file at a UTF-8 path, while others may read and write it (CreateFileW, ReadFile).
// Fails with 2 or 3 when the path does not exist, with 5 for a folder or a file that the caller may
// not read, with 222 for a pipe or a device, whose server can identify the caller but not
// impersonate it, and with 223 when the file holds more than `limit` bytes.
std::uint32_t ReadFileBytes(const std::string& path, std::size_t limit, const ByteSink& sink);

// Reads standard input to its end. Fails with 223 when that is more than `limit` bytes.
std::uint32_t ReadStandardInput(std::size_t limit, const ByteSink& sink);

}  // namespace veltrane
