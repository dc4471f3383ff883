// "/service <conf>": the entry of the tunnel service, here started by hand.

#include "tests/windows/clean_machine.h"

namespace veltrane::windows_tests {
namespace {

constexpr wchar_t kConfPath[] = L"C:\\windows\\temp\\Straße 1.conf";
constexpr wchar_t kSeenPath[] = L"C:\\windows\\temp\\Straße 1.conf.seen";

// A configuration file, and what a stand-in tunnel library notes of it.
class TunnelEntry : public testing::Test {
 protected:
  TunnelEntry() { PutFile(kConfPath, "[Interface]\n"); }
  ~TunnelEntry() override {
    DeleteFileW(kConfPath);
    DeleteFileW(kSeenPath);
  }

  static Outcome RunWith(const std::wstring& tunnel_library, const std::wstring& conf_path) {
    const ProgramCopy program(tunnel_library);
    return Process(program.Executable(), L"/service \"" + conf_path + L"\"").Wait();
  }
};

TEST_F(TunnelEntry, ExitsWith1ForAnEmptyPath) { EXPECT_EQ(RunWith(L"", L""), SilentExit(1)); }

TEST_F(TunnelEntry, ExitsWith2WithoutATunnelLibrary) {
  EXPECT_EQ(RunWith(L"", kConfPath), SilentExit(2));
}

TEST_F(TunnelEntry, ExitsWith3WhenTheLibraryLacksTheExport) {
  EXPECT_EQ(RunWith(L"without_export", kConfPath), SilentExit(3));
}

TEST_F(TunnelEntry, ExitsWith4WhenTheLowByteOfTheAnswerIsZero) {
  EXPECT_EQ(RunWith(L"returning_256", kConfPath), SilentExit(4));
}

TEST_F(TunnelEntry, HandsThePathToTheTunnelUnchangedAndExitsWith0WhenItReturnsTrue) {
  EXPECT_EQ(RunWith(L"returning_true", kConfPath), SilentExit(0));
  EXPECT_EQ(ReadFileBytes(kSeenPath),
            "C:\\windows\\temp\\Stra\xC3\x9F"
            "e 1.conf");
}

}  // namespace
}  // namespace veltrane::windows_tests
