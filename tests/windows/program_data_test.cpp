// Where active.conf lies.

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

namespace fs = std::filesystem;

class ProgramData : public CleanMachine {};

TEST_F(ProgramData, NamesTheFolderAboveTheFile) {
  const fs::path folder = fs::path(TestFolder()) / L"Daten für alle";
  ConsoleServer server(Variables{{L"ProgramData", folder.wstring()}});
  BringTunnelUp();
  EXPECT_EQ(ReadFileBytes(folder / L"Veltrane\\tunnels\\active.conf"), kConf);
  EXPECT_EQ(ReadServiceConfig(kTunnelService).command_line,
            L"\"" + ServiceExecutable() + L"\" /service \"" + folder.wstring() +
                L"\\Veltrane\\tunnels\\active.conf\"");
  Ask(kDisconnect);
  fs::remove_all(folder);
}

TEST_F(ProgramData, ThatIsUnsetMeansTheUsualFolder) {
  ConsoleServer server(Variables{{L"ProgramData", std::nullopt}});
  BringTunnelUp();
  EXPECT_EQ(ReadFileBytes(L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf"), kConf);
}

TEST_F(ProgramData, Of260CharactersMeansTheUsualFolder) {
  ConsoleServer server(Variables{{L"ProgramData", L"C:\\" + std::wstring(257, L'x')}});
  BringTunnelUp();
  EXPECT_EQ(ReadFileBytes(L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf"), kConf);
}

// run_all has put a link to the full device there, which only Wine can follow.
TEST_F(ProgramData, OnAFullDiskIsReported) {
  ConsoleServer server(Variables{{L"ProgramData", TestFolder() + L"\\full_disk"}});
  EXPECT_EQ(Ask(kConnect),
            R"({"ok":false,"error":"config_write_failed","message":"write tmp failed"})");
}

}  // namespace
}  // namespace veltrane::windows_tests
