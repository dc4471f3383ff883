#pragma once

// The machine that a test starts from and leaves behind.

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "tests/windows/process.h"

namespace veltrane::windows_tests {

// C:\ProgramData\Veltrane\tunnels, where the service keeps active.conf by default.
std::filesystem::path TunnelsFolder();

// The file that the tunnel service runs from, in that folder.
std::filesystem::path ActiveConf();

// The file that is written first and then becomes the other.
std::filesystem::path TemporaryConf();

// Writes a file with the folders above it.
void PutFile(const std::filesystem::path& path, const std::string& bytes);

// A fixture: before and after the test there is no service and no file of this product.
class CleanMachine : public testing::Test {
 protected:
  CleanMachine() { Clean(); }
  ~CleanMachine() override { Clean(); }

 private:
  static void Clean();
};

// Installs the executable under test as the control service and waits until it reports that it
// runs.
void InstallAndStartService();

// A copy of the executable in a folder of its own, with one of the tunnel libraries that are made
// for these tests, or with none. Removed with the object.
class ProgramCopy {
 public:
  // `tunnel_library` names a folder below stand_ins; empty for no library at all.
  explicit ProgramCopy(const std::wstring& tunnel_library = L"");
  ProgramCopy(const ProgramCopy&) = delete;
  ProgramCopy& operator=(const ProgramCopy&) = delete;
  ~ProgramCopy();

  std::wstring Executable() const;

 private:
  std::filesystem::path folder_;
};

// The executable with "--console", in its own process, once it says that it serves the pipe.
class ConsoleServer : public Process {
 public:
  explicit ConsoleServer(const Variables& variables = {},
                         const std::wstring& executable = ServiceExecutable());
};

// A clean machine on which the executable under test serves the pipe.
class ServedMachine : public CleanMachine {
 protected:
  ConsoleServer server_;
};

}  // namespace veltrane::windows_tests
