// active.conf: where it lies, and what stands in the way of writing and of deleting it.

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

namespace fs = std::filesystem;

class ConfFile : public ServedMachine {
 protected:
  static void ExpectStoreFailure(const std::string& message) {
    EXPECT_EQ(Ask(kConnect),
              R"({"ok":false,"error":"config_write_failed","message":")" + message + "\"}");
  }
  static void ExpectDisconnect() {
    EXPECT_EQ(Ask(kDisconnect).find(R"({"ok":true,"phase":"disconnected",)"), 0u);
  }
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

TEST_F(ConfFile, CannotBeStoredWithAFileInPlaceOfTheFolder) {
  PutFile(TunnelsFolder(), "in the way");
  ExpectStoreFailure("create_directories failed");
  EXPECT_EQ(ReadFileBytes(TunnelsFolder()), "in the way");
}

TEST_F(ConfFile, CannotBeStoredWithAFileInPlaceOfTheFolderAbove) {
  PutFile(TunnelsFolder().parent_path(), "in the way");
  ExpectStoreFailure("create_directories failed");
}

TEST_F(ConfFile, CannotBeStoredWithAFolderInPlaceOfTheTemporaryFile) {
  fs::create_directories(TemporaryConf());
  ExpectStoreFailure("open tmp failed");
}

TEST_F(ConfFile, CannotBeStoredOverALockedTemporaryFile) {
  PutFile(TemporaryConf(), "stale");
  const LockedFile lock(TemporaryConf());
  ExpectStoreFailure("open tmp failed");
}

TEST_F(ConfFile, CannotReplaceAFolderAndItsTemporaryFileStays) {
  fs::create_directories(ActiveConf());
  ExpectStoreFailure("rename active.conf failed");
  EXPECT_EQ(ReadFileBytes(TemporaryConf()), kConf);
}

TEST_F(ConfFile, CannotReplaceALockedFileWhichKeepsItsBytes) {
  PutFile(ActiveConf(), "earlier");
  {
    const LockedFile lock(ActiveConf());
    ExpectStoreFailure("rename active.conf failed");
  }
  EXPECT_EQ(ReadFileBytes(ActiveConf()), "earlier");
}

TEST_F(ConfFile, IsStoredOverALongerStaleTemporaryFile) {
  PutFile(TemporaryConf(), std::string(10000, 'x'));
  BringTunnelUp();
  EXPECT_EQ(ReadFileBytes(ActiveConf()), kConf);
}

TEST_F(ConfFile, IsLeftByADisconnectWhenItIsAFolder) {
  fs::create_directories(ActiveConf());
  ExpectDisconnect();
  EXPECT_TRUE(fs::is_directory(ActiveConf()));
}

TEST_F(ConfFile, IsLeftByADisconnectWhenItIsLocked) {
  PutFile(ActiveConf(), "earlier");
  {
    const LockedFile lock(ActiveConf());
    ExpectDisconnect();
  }
  EXPECT_EQ(ReadFileBytes(ActiveConf()), "earlier");
}

using ProgramData = CleanMachine;

TEST_F(ProgramData, NamesTheFolderAboveTheFile) {
  const fs::path folder = fs::path(TestFolder()) / L"Daten für alle";
  const ConsoleServer server(Variables{{L"ProgramData", folder.wstring()}});
  BringTunnelUp();
  EXPECT_EQ(ReadFileBytes(folder / L"Veltrane\\tunnels\\active.conf"), kConf);
  ExpectRegistration(kTunnelServiceName, L"\"" + ServiceExecutable() + L"\" /service \"" +
                                             folder.wstring() +
                                             L"\\Veltrane\\tunnels\\active.conf\"");
  Ask(kDisconnect);
  fs::remove_all(folder);
}

// run_all has put a link to the full device there, which only Wine can follow.
TEST_F(ProgramData, OnAFullDiskIsReported) {
  const ConsoleServer server(Variables{{L"ProgramData", TestFolder() + L"\\full_disk"}});
  EXPECT_EQ(Ask(kConnect),
            R"({"ok":false,"error":"config_write_failed","message":"write tmp failed"})");
}

}  // namespace
}  // namespace veltrane::windows_tests
