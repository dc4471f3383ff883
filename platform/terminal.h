#pragma once

// The standard streams of a command-line program, as UTF-8 bytes. Failures of an output are
// ignored. Used by one thread.

#include <cstddef>
#include <optional>
#include <string_view>

namespace veltrane {

enum class Stream { kOutput, kError };

// Writes bytes as they are: no line end is translated, and a console shows them as UTF-8.
void WriteStream(Stream stream, std::string_view utf8);

// The columns of the terminal behind a stream; nullopt when that is a file or a pipe. A terminal
// understands the escape sequences of ECMA-48 from the first question on.
std::optional<std::size_t> TerminalColumns(Stream stream);

}  // namespace veltrane
