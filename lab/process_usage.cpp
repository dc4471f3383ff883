#include "lab/process_usage.h"

#include <tlhelp32.h>

#include <vector>

namespace veltrane {
namespace {

unsigned CountThreads(DWORD process) {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 thread{};
  thread.dwSize = sizeof(thread);
  unsigned count = 0;
  for (BOOL more = Thread32First(snapshot, &thread); more; more = Thread32Next(snapshot, &thread)) {
    if (thread.th32OwnerProcessID == process) ++count;
  }
  CloseHandle(snapshot);
  return count;
}

unsigned CountHandles(DWORD process) {
  struct Entry {
    void* object;
    ULONG_PTR process;
    ULONG_PTR handle;
    ULONG access;
    USHORT trace_index;
    USHORT type;
    ULONG attributes;
    ULONG reserved;
  };
  struct List {
    ULONG_PTR count;
    ULONG_PTR reserved;
    Entry entries[1];
  };
  // winternl.h does not declare this information class (SystemExtendedHandleInformation).
  using Query = LONG NTAPI(int information, void* buffer, ULONG size, ULONG* needed);
  constexpr int kExtendedHandleInformation = 64;
  auto* const query = reinterpret_cast<Query*>(reinterpret_cast<void*>(
      GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
  std::vector<char> buffer(1 << 20);
  ULONG size = 0;
  if (query(kExtendedHandleInformation, buffer.data(), static_cast<ULONG>(buffer.size()), &size) !=
      0) {
    return 0;
  }
  const auto* list = reinterpret_cast<const List*>(buffer.data());
  unsigned count = 0;
  for (ULONG_PTR i = 0; i < list->count; ++i) {
    if (list->entries[i].process == process) ++count;
  }
  return count;
}

}  // namespace

ProcessUsage UsageOf(DWORD process) {
  return {.handles = CountHandles(process), .threads = CountThreads(process)};
}

ProcessUsage SettledUsageOf(DWORD process) {
  constexpr int kAlike = 5;
  constexpr int kReadings = 600;
  ProcessUsage usage = UsageOf(process);
  for (int alike = 1, readings = 1; alike < kAlike && readings < kReadings; ++readings) {
    Sleep(100);
    const ProcessUsage next = UsageOf(process);
    alike = next == usage ? alike + 1 : 1;
    usage = next;
  }
  return usage;
}

}  // namespace veltrane
