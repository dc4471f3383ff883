#include "platform/ancestors.h"

#include <windows.h>

#include <tlhelp32.h>

#include <map>

#include "platform/service_facts.h"
#include "platform/windows/handles.h"

namespace veltrane {
namespace {

using Processes = std::map<DWORD, PROCESSENTRY32W>;  // by their ids

std::optional<Processes> ReadProcesses() {
  const HANDLE handle = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  if (handle == INVALID_HANDLE_VALUE) return std::nullopt;
  const UniqueHandle snapshot(handle);
  Processes processes;
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof(entry);
  BOOL more = Process32FirstW(snapshot.get(), &entry);
  for (; more; more = Process32NextW(snapshot.get(), &entry)) {
    processes[entry.th32ProcessID] = entry;
  }
  if (GetLastError() != ERROR_NO_MORE_FILES) return std::nullopt;
  return processes;
}

bool IsOlder(DWORD process, DWORD than) {
  const Result<std::int64_t> start = ReadProcessStart(process);
  const Result<std::int64_t> other = ReadProcessStart(than);
  return !start || !other || *start <= *other;
}

}  // namespace

std::optional<std::vector<std::wstring>> ReadAncestors() {
  std::optional<Processes> processes = ReadProcesses();
  if (!processes) return std::nullopt;
  std::vector<std::wstring> names;
  Processes::node_type child = processes->extract(GetCurrentProcessId());
  while (!child.empty()) {
    Processes::node_type parent = processes->extract(child.mapped().th32ParentProcessID);
    if (parent.empty() || !IsOlder(parent.key(), child.key())) break;
    names.emplace_back(parent.mapped().szExeFile);
    child = std::move(parent);
  }
  return names;
}

}  // namespace veltrane
