#pragma once

// Libraries that can be loaded, and the program's own path.

#include <cstddef>
#include <map>
#include <string>

#include "platform/library.h"
#include "tests/simulated/core.h"

namespace veltrane::simulated {

// No library is there at the start; loading an unknown one fails. Library names are compared
// without case, exports with it. Every member may be called on any thread.
class Libraries {
 public:
  explicit Libraries(Core& core) : core_(core) {}

  // Puts a library in place, without exports; adding an export puts the library in place too. The
  // function is cast as the library documents it:
  //   libraries.AddExport(L"tunnel.dll", "WireGuardTunnelService",
  //                       reinterpret_cast<LibraryFunction>(&RunsUntilStopped));
  void Add(const std::wstring& library);
  void AddExport(const std::wstring& library, const std::string& name, LibraryFunction function);

  // How often the library was loaded and freed so far.
  std::size_t Loads(const std::wstring& library) const;
  std::size_t Frees(const std::wstring& library) const;

  // How many loads of any library have not been followed by a free.
  std::size_t Loaded() const;

  // C:\Program Files\Veltrane\VeltraneVpnService.exe at the start. The program sees 259 characters
  // at most.
  void SetExecutablePath(const std::wstring& path);

  // For the boundary functions.
  struct File {
    std::wstring name;
    std::map<std::string, LibraryFunction> exports;
    std::size_t loads = 0;
    std::size_t frees = 0;
  };
  File* Load(const std::wstring& library);  // null: not there
  LibraryFunction Find(const File& file, const std::string& name) const;
  void Free(File& file);
  void EndProcess();
  std::wstring ExecutablePath() const;

 private:
  Core& core_;
  std::map<std::wstring, File> files_;
  std::wstring executable_path_ = L"C:\\Program Files\\Veltrane\\VeltraneVpnService.exe";
};

}  // namespace veltrane::simulated
