// The command lines that no mode recognises.

#include <gtest/gtest.h>

#include "tests/windows/process.h"

namespace veltrane::windows_tests {
namespace {

constexpr char kUsage[] =
    "VeltraneVpnService\n"
    "  --dry-run-startup      Passive startup check only (no IPC)\n"
    "  --console              Run IPC server in foreground\n"
    "  --console --dry-run-startup  Same as --dry-run-startup\n"
    "  --run-as-service       SCM entry (used by installer)\n"
    "  --install              Register Windows service (admin)\n"
    "  --uninstall            Remove Windows service (admin)\n"
    "  /service <conf>        WireGuard tunnel entry (W1-C)\n";

void ExpectUsageAndExitCode1(const std::wstring& arguments) {
  const Outcome outcome = RunService(arguments);
  EXPECT_EQ(outcome.output, kUsage);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.exit_code, 1u);
}

TEST(Usage, IsPrintedWithoutArguments) { ExpectUsageAndExitCode1(L""); }

TEST(Usage, IsPrintedForAnUnknownSwitch) { ExpectUsageAndExitCode1(L"--status"); }

TEST(Usage, IsPrintedForAnEmptyArgument) { ExpectUsageAndExitCode1(L"\"\""); }

TEST(Usage, IsPrintedForServiceWithoutAPath) { ExpectUsageAndExitCode1(L"/service"); }

TEST(Usage, IsPrintedForServiceInCapitals) { ExpectUsageAndExitCode1(L"/SERVICE C:\\a.conf"); }

TEST(Usage, IsPrintedForInstallInCapitals) { ExpectUsageAndExitCode1(L"--INSTALL"); }

TEST(Usage, IsPrintedForUninstallInCapitals) { ExpectUsageAndExitCode1(L"--UNINSTALL"); }

TEST(Usage, IsPrintedForConsoleInCapitals) { ExpectUsageAndExitCode1(L"--Console"); }

TEST(Usage, IsPrintedForRunAsServiceInCapitals) { ExpectUsageAndExitCode1(L"--Run-As-Service"); }

TEST(Usage, IsPrintedForInstallWithOneDash) { ExpectUsageAndExitCode1(L"-install"); }

TEST(Usage, IsPrintedForUninstallWithOneDash) { ExpectUsageAndExitCode1(L"-uninstall"); }

TEST(Usage, IsPrintedForRunAsServiceWithOneDash) { ExpectUsageAndExitCode1(L"-run-as-service"); }

TEST(Usage, IsPrintedForASwitchThatIsNotTheFirst) { ExpectUsageAndExitCode1(L"x --install"); }

}  // namespace
}  // namespace veltrane::windows_tests
