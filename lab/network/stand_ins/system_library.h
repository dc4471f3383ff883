#pragma once

// Finds functions of the system library that a stand-in of the same name passes calls on to.

#include <windows.h>

#include <string>

namespace lab {

// Loads the library by its full path, because its name alone would find the stand-in.
inline HMODULE LoadSystemLibrary(const wchar_t* name) {
  wchar_t folder[MAX_PATH];
  const UINT length = GetSystemDirectoryW(folder, MAX_PATH);
  return LoadLibraryW((std::wstring(folder, length) + L'\\' + name).c_str());
}

template <typename Function>
Function* FindFunction(HMODULE library, const char* name) {
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

// Makes GetModuleHandleW find the stand-in by its bare name, not the system library of the same
// name: Wine's loader begins with the module that was used last.
inline void BeTheOneFoundByName() {
  HMODULE own = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<const wchar_t*>(&BeTheOneFoundByName), &own);
  GetProcAddress(own, "GetBestRoute");
}

}  // namespace lab
