#pragma once

// The table of a story: a line for each run.

#include <string>
#include <vector>

#include "tests/faults/account.h"
#include "tests/faults/failure_kinds.h"

namespace veltrane::faults {

// The line of a run: the call, "CreateForwardRow 1 203.0.113.5/32 ...", how it failed, and what
// came of it.
std::string Line(const std::string& call, const std::string& failure, const std::string& outcome);
std::string CallText(const Call& call);

// How two tables differ: the lines of the first that are not in the second behind "- ", and the
// other way round behind "+ ". Lines that occur several times count as often as they do.
std::vector<std::string> Differences(const std::vector<std::string>& expected,
                                     const std::vector<std::string>& actual);

// The lines of a file; none when there is no such file. Write replaces it.
std::vector<std::string> ReadLines(const std::string& path);
void WriteLines(const std::string& path, const std::vector<std::string>& lines);

}  // namespace veltrane::faults
