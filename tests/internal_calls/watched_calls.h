#pragma once

// Calls from one file of the program to another, for what the machine cannot show: the order of two
// steps of which only one reaches the machine, and what an argument holds that is always replaced.
// The executable that uses this is linked so that these calls go through watched_calls.cpp
// (--wrap, see cmake/HostTests.cmake).

#include <functional>
#include <string>
#include <vector>

namespace veltrane {

// What is to happen at these calls, and what was seen; one at a time.
struct WatchedCalls {
  WatchedCalls();
  WatchedCalls(const WatchedCalls&) = delete;
  WatchedCalls& operator=(const WatchedCalls&) = delete;
  ~WatchedCalls();

  // Runs when MarkStopRequested is called, before it has done anything.
  std::function<void()> on_mark_stop = [] {};

  // The calls that were given an error text, each with what that held: "InstallService ''".
  std::vector<std::string> error_texts;
};

}  // namespace veltrane
