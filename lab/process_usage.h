#pragma once

// What a running process has open.

#include <windows.h>

namespace veltrane {

struct ProcessUsage {
  unsigned handles = 0;
  unsigned threads = 0;

  bool operator==(const ProcessUsage&) const = default;
};

// Returns the numbers of the process with this id; zeros when there is none. Counts in the system's
// lists of all handles and all threads, because Wine 8 does not count handles per process
// (NtQuerySystemInformation, CreateToolhelp32Snapshot).
ProcessUsage UsageOf(DWORD process);

// The same once five readings, 100 ms apart, are alike: a thread that is on its way into a wait
// opens one handle more for it. Gives up after a minute, with the last reading.
ProcessUsage SettledUsageOf(DWORD process);

}  // namespace veltrane
