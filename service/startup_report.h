#pragma once

// The passive startup report: one line of JSON that says what the process has changed so far and
// what an earlier run left behind. It is printed at every start.

#include <string>

namespace veltrane {

// Builds the report. If the tunnel service or the forward table cannot be read, the report says
// that nothing was left behind.
std::string BuildPassiveStartupReport();

// Writes the report to standard output, then to standard error.
void PrintPassiveStartupReport();

}  // namespace veltrane
