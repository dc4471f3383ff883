// Connects that cannot store their configuration file, because of what stands in its place.

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

namespace fs = std::filesystem;

constexpr char kDisconnectedStatus[] = R"({"ok":true,"phase":"disconnected",)";

class StoreFailure : public CleanMachine {
 protected:
  static fs::path TemporaryConf() { return TunnelsFolder() / L"active.conf.tmp"; }

  ConsoleServer server_;
};

// A file that is open without any sharing.
class LockedFile {
 public:
  explicit LockedFile(const fs::path& path)
      : handle_(CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)) {
    EXPECT_NE(handle_, INVALID_HANDLE_VALUE);
  }
  LockedFile(const LockedFile&) = delete;
  LockedFile& operator=(const LockedFile&) = delete;
  ~LockedFile() { CloseHandle(handle_); }

 private:
  HANDLE handle_;
};

TEST_F(StoreFailure, AFileInPlaceOfTheFolderIsReported) {
  PutFile(TunnelsFolder(), "in the way");
  EXPECT_EQ(Ask(kConnect),
            R"({"ok":false,"error":"config_write_failed","message":"create_directories failed"})");
  EXPECT_EQ(ReadFileBytes(TunnelsFolder()), "in the way");
}

TEST_F(StoreFailure, AFileInPlaceOfTheFolderAboveIsReported) {
  PutFile(TunnelsFolder().parent_path(), "in the way");
  EXPECT_EQ(Ask(kConnect),
            R"({"ok":false,"error":"config_write_failed","message":"create_directories failed"})");
}

TEST_F(StoreFailure, AFolderInPlaceOfTheTemporaryFileIsReported) {
  fs::create_directories(TemporaryConf());
  EXPECT_EQ(Ask(kConnect),
            R"({"ok":false,"error":"config_write_failed","message":"open tmp failed"})");
}

TEST_F(StoreFailure, ALockedTemporaryFileIsReported) {
  PutFile(TemporaryConf(), "stale");
  const LockedFile lock(TemporaryConf());
  EXPECT_EQ(Ask(kConnect),
            R"({"ok":false,"error":"config_write_failed","message":"open tmp failed"})");
}

TEST_F(StoreFailure, AFolderInPlaceOfTheFileIsReportedAndTheTemporaryFileStays) {
  fs::create_directories(ActiveConf());
  EXPECT_EQ(Ask(kConnect),
            R"({"ok":false,"error":"config_write_failed","message":"rename active.conf failed"})");
  EXPECT_EQ(ReadFileBytes(TemporaryConf()), kConf);
}

TEST_F(StoreFailure, ALockedFileIsReportedAndKeepsItsBytes) {
  PutFile(ActiveConf(), "earlier");
  {
    const LockedFile lock(ActiveConf());
    EXPECT_EQ(
        Ask(kConnect),
        R"({"ok":false,"error":"config_write_failed","message":"rename active.conf failed"})");
  }
  EXPECT_EQ(ReadFileBytes(ActiveConf()), "earlier");
}

TEST_F(StoreFailure, LeavesThePhaseDisconnected) {
  fs::create_directories(TemporaryConf());
  Ask(kConnect);
  EXPECT_EQ(Ask(kStatus).find(kDisconnectedStatus), 0u);
}

TEST_F(StoreFailure, StartsNoTunnel) {
  fs::create_directories(TemporaryConf());
  Ask(kConnect);
  EXPECT_FALSE(ServiceExists(kTunnelService));
}

TEST_F(StoreFailure, LeavesARunningTunnelInPlace) {
  BringTunnelUp();
  fs::create_directories(TemporaryConf());
  Ask(kConnect);
  EXPECT_EQ(ServiceStatus(kTunnelService).dwCurrentState, DWORD{SERVICE_RUNNING});
  EXPECT_EQ(ReadFileBytes(ActiveConf()), kConf);
}

TEST_F(StoreFailure, LogsTheRemovalOfTheBypassRoutes) {
  fs::create_directories(TemporaryConf());
  const std::string before = server_.Error();
  Ask(kConnect);
  EXPECT_EQ(server_.Error(), before + "[Veltrane][admin_bypass] enabled=0 applied=0 failure=\n");
}

TEST_F(StoreFailure, AStaleTemporaryFileIsNone) {
  PutFile(TemporaryConf(), std::string(10000, 'x'));
  EXPECT_EQ(Ask(kConnect).find(R"({"ok":true,"phase":"connected",)"), 0u);
  EXPECT_EQ(ReadFileBytes(ActiveConf()), kConf);
}

TEST_F(StoreFailure, AFolderInPlaceOfTheFileSurvivesADisconnect) {
  fs::create_directories(ActiveConf());
  EXPECT_EQ(Ask(kDisconnect).find(kDisconnectedStatus), 0u);
  EXPECT_TRUE(fs::is_directory(ActiveConf()));
}

TEST_F(StoreFailure, AFileThatTheScrubCannotOpenSurvivesADisconnect) {
  PutFile(ActiveConf(), "earlier");
  {
    const LockedFile lock(ActiveConf());
    EXPECT_EQ(Ask(kDisconnect).find(kDisconnectedStatus), 0u);
  }
  EXPECT_EQ(ReadFileBytes(ActiveConf()), "earlier");
}

}  // namespace
}  // namespace veltrane::windows_tests
