#pragma once

// Command lines.

#include <string>

namespace veltrane {

// The argument as it stands on a command line from which CommandLineToArgvW and the C runtime read
// it again: in double quotes, with a backslash before each double quote in it, and with those
// backslashes doubled that stand right before a double quote.
std::wstring QuotedArgument(const std::wstring& argument);

}  // namespace veltrane
