#pragma once

// Owners for the handles and the memory that Windows returns, each with its closing function.

#include <windows.h>

#include <wtsapi32.h>

#include "platform/owner.h"

namespace veltrane {

inline void CloseAnyHandle(void* handle) noexcept { CloseHandle(handle); }
using UniqueHandle = Owner<void, CloseAnyHandle>;

inline void CloseServiceControl(SC_HANDLE handle) noexcept { CloseServiceHandle(handle); }
using ServiceHandle = Owner<SC_HANDLE__, CloseServiceControl>;

inline void CloseRegistryKey(HKEY key) noexcept { RegCloseKey(key); }
using RegistryKey = Owner<HKEY__, CloseRegistryKey>;

// Memory from LocalAlloc, including what the security functions allocate with it.
inline void FreeLocalMemory(void* memory) noexcept { LocalFree(memory); }
template <typename T>
using LocalMemory = Owner<T, FreeLocalMemory>;

// A SID from AllocateAndInitializeSid.
inline void FreeAllocatedSid(void* sid) noexcept { FreeSid(sid); }
using AllocatedSid = Owner<void, FreeAllocatedSid>;

// A buffer that a wtsapi32 function allocated.
inline void FreeWtsMemory(void* memory) noexcept { WTSFreeMemory(memory); }
template <typename T>
using WtsMemory = Owner<T, FreeWtsMemory>;

}  // namespace veltrane
