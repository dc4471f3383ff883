#pragma once

// The passive startup report: a one-line JSON account of what the process has changed so far and
// what an earlier run left behind, printed at every start.

#include <string>

namespace veltrane {

// Builds the report. A tunnel service or a routing table that cannot be read counts as nothing left
// behind.
std::string BuildPassiveStartupReport();

// Writes the report once to standard output and once to standard error.
void PrintPassiveStartupReport();

}  // namespace veltrane
