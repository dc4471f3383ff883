#include "tests/windows/clean_machine.h"

#include <fstream>

#include "tests/windows/control_manager.h"
#include "tests/windows/wait.h"

namespace veltrane::windows_tests {
namespace {

namespace fs = std::filesystem;

const fs::path kProductFolder = L"C:\\ProgramData\\Veltrane";
// Wine tells services another ProgramData.
const fs::path kProductFolderOfServices = L"C:\\users\\Public\\Veltrane";

void RemoveFolder(const fs::path& folder) {
  std::error_code error;
  EXPECT_TRUE(WaitUntil([&] {
    fs::remove_all(folder, error);
    return !error;
  })) << error.message();
}

}  // namespace

fs::path TunnelsFolder() { return kProductFolder / L"tunnels"; }

fs::path ActiveConf() { return TunnelsFolder() / L"active.conf"; }

fs::path TemporaryConf() { return TunnelsFolder() / L"active.conf.tmp"; }

void PutFile(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
}

void CleanMachine::Clean() {
  RemoveService(kTunnelServiceName);
  RemoveService(kServiceName);
  RemoveFolder(kProductFolder);
  RemoveFolder(kProductFolderOfServices);
}

void InstallAndStartService() {
  RunService(L"--install");
  EXPECT_EQ(StartServiceNamed(kServiceName), 0u);
  EXPECT_TRUE(WaitForServiceState(kServiceName, SERVICE_RUNNING));
}

ProgramCopy::ProgramCopy(const std::wstring& tunnel_library)
    : folder_(fs::path(TestFolder()) / L"copy") {
  fs::create_directories(folder_);
  fs::copy_file(ServiceExecutable(), Executable());
  if (tunnel_library.empty()) return;
  fs::copy_file(fs::path(TestFolder()) / L"stand_ins" / tunnel_library / L"tunnel.dll",
                folder_ / L"tunnel.dll");
}

// The tunnel service may run from this folder.
ProgramCopy::~ProgramCopy() {
  RemoveService(kTunnelServiceName);
  RemoveFolder(folder_);
}

std::wstring ProgramCopy::Executable() const {
  return (folder_ / L"VeltraneVpnService.exe").wstring();
}

ConsoleServer::ConsoleServer(const Variables& variables, const std::wstring& executable)
    : Process(executable, L"--console", variables) {
  EXPECT_TRUE(WaitUntil([this] {
    return Output().find("VeltraneVpnService IPC on") != std::string::npos || !IsRunning();
  }));
}

}  // namespace veltrane::windows_tests
