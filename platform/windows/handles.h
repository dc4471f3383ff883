#pragma once

// Owners of what Windows hands out, one for each way of giving it back. None accepts
// INVALID_HANDLE_VALUE: a call that answers with it is tested before its handle is owned.

#include <windows.h>

#include <wtsapi32.h>

#include <memory>

namespace veltrane {

struct HandleCloser {
  void operator()(void* handle) const { CloseHandle(handle); }
};
using UniqueHandle = std::unique_ptr<void, HandleCloser>;

struct FindCloser {
  void operator()(void* handle) const { FindClose(handle); }
};
using FindHandle = std::unique_ptr<void, FindCloser>;

struct ServiceHandleCloser {
  using pointer = SC_HANDLE;
  void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};
using ServiceHandle = std::unique_ptr<SC_HANDLE__, ServiceHandleCloser>;

struct LibraryFreer {
  using pointer = HMODULE;
  void operator()(HMODULE module) const { FreeLibrary(module); }
};
using LibraryHandle = std::unique_ptr<HINSTANCE__, LibraryFreer>;

// Memory from LocalAlloc, and what the security calls allocate with it.
struct LocalMemoryFreer {
  void operator()(void* memory) const { LocalFree(memory); }
};
template <typename T>
using LocalMemory = std::unique_ptr<T, LocalMemoryFreer>;

// A SID from AllocateAndInitializeSid.
struct SidFreer {
  void operator()(void* sid) const { FreeSid(sid); }
};
using AllocatedSid = std::unique_ptr<void, SidFreer>;

// A buffer that a wtsapi32 call allocated.
struct WtsMemoryFreer {
  void operator()(void* memory) const { WTSFreeMemory(memory); }
};
template <typename T>
using WtsMemory = std::unique_ptr<T, WtsMemoryFreer>;

}  // namespace veltrane
