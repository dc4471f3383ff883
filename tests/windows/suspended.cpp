#include "tests/windows/suspended.h"

#include <tlhelp32.h>

#include <gtest/gtest.h>

namespace veltrane::windows_tests {

Suspended::Suspended(DWORD process) {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof(entry);
  for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
    if (entry.th32OwnerProcessID != process) continue;
    const HANDLE thread = OpenThread(THREAD_SUSPEND_RESUME, FALSE, entry.th32ThreadID);
    if (thread != nullptr) threads_.push_back(thread);
  }
  CloseHandle(snapshot);
  if (threads_.empty()) ADD_FAILURE() << "no thread of the process was found";
  for (const HANDLE thread : threads_) EXPECT_NE(SuspendThread(thread), static_cast<DWORD>(-1));
}

Suspended::~Suspended() {
  for (const HANDLE thread : threads_) {
    ResumeThread(thread);
    CloseHandle(thread);
  }
}

}  // namespace veltrane::windows_tests
