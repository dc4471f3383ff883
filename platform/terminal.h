#pragma once

// The output streams of a command-line program.
// Units: UTF-8 bytes.
// Errors: not reported; output that cannot be written is lost.
// Threads: one.
// Windows: "Console Virtual Terminal Sequences".

#include <cstddef>
#include <optional>
#include <string_view>

namespace veltrane {

enum class Stream { kOutput, kError };

// Writes bytes without translating line endings; a console shows them as UTF-8.
void WriteStream(Stream stream, std::string_view utf8);

// Returns the width in columns of the terminal behind a stream (GetConsoleScreenBufferInfo);
// nullopt when the stream is a file or a pipe. Also makes that terminal interpret ECMA-48 escape
// sequences until RestoreTerminals.
std::optional<std::size_t> TerminalColumns(Stream stream);

// Gives every terminal back the mode that it had before TerminalColumns. An interrupt of the
// program (Ctrl+C) does so too.
void RestoreTerminals();

}  // namespace veltrane
