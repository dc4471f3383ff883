#pragma once

// The processes that this one descends from.
// Threads: any.
// Windows: "CreateToolhelp32Snapshot function".

#include <optional>
#include <string>
#include <vector>

namespace veltrane {

// Returns the names of the executables, without their folders, of the parent of this process, of
// the parent's parent and so on (CreateToolhelp32Snapshot, Process32NextW). It ends before a parent
// that has ended. The id of such a one may be another process's by now: a process that was started
// after its child is not the parent (ReadProcessStart); one whose start this process may not read
// counts as the parent. nullopt when the processes cannot be read.
std::optional<std::vector<std::wstring>> ReadAncestors();

}  // namespace veltrane
