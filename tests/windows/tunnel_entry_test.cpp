// "/service <conf>": the entry of the tunnel service, here started by hand.

#include <gtest/gtest.h>

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

  static void ExpectSilentExit(const Outcome& outcome, DWORD exit_code) {
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.exit_code, exit_code);
  }

  static Outcome RunWith(const std::wstring& tunnel_library, const std::wstring& arguments) {
    const ProgramCopy program(tunnel_library);
    return Process(program.Executable(), arguments).Wait();
  }
};

const std::wstring kService = L"/service \"C:\\windows\\temp\\Straße 1.conf\"";

TEST_F(TunnelEntry, ExitsWith1ForAnEmptyPath) {
  ExpectSilentExit(RunWith(L"returning_true", L"/service \"\""), 1);
}

TEST_F(TunnelEntry, ExitsWith1ForAnEmptyPathEvenWithoutALibrary) {
  ExpectSilentExit(RunWith(L"", L"/service \"\""), 1);
}

TEST_F(TunnelEntry, ExitsWith2WithoutATunnelLibrary) {
  ExpectSilentExit(RunWith(L"", kService), 2);
}

TEST_F(TunnelEntry, ExitsWith3WhenTheLibraryLacksTheExport) {
  ExpectSilentExit(RunWith(L"without_export", kService), 3);
}

TEST_F(TunnelEntry, ExitsWith4WhenTheTunnelReturnsFalse) {
  ExpectSilentExit(RunWith(L"returning_false", kService), 4);
}

TEST_F(TunnelEntry, TakesTheAnswerFromTheLowByteAlone) {
  ExpectSilentExit(RunWith(L"returning_256", kService), 4);
}

TEST_F(TunnelEntry, ExitsWith0WhenTheTunnelReturnsTrue) {
  ExpectSilentExit(RunWith(L"returning_true", kService), 0);
}

TEST_F(TunnelEntry, HandsThePathToTheTunnelUnchanged) {
  RunWith(L"returning_true", kService);
  EXPECT_EQ(ReadFileBytes(kSeenPath),
            "C:\\windows\\temp\\Stra\xC3\x9F"
            "e 1.conf");
}

TEST_F(TunnelEntry, IgnoresFurtherArguments) {
  ExpectSilentExit(RunWith(L"returning_true", kService + L" --dry-run-startup"), 0);
}

TEST_F(TunnelEntry, TakesADryRunSwitchInThePlaceOfThePathForAPath) {
  ExpectSilentExit(RunWith(L"", L"/service --dry-run-startup"), 2);
}

}  // namespace
}  // namespace veltrane::windows_tests
