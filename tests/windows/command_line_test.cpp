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

TEST(CommandLine, WithoutArgumentsPrintsTheUsageTextAndExitsWith1) {
  const Outcome outcome = RunService(L"");
  EXPECT_EQ(outcome.output, kUsage);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.exit_code, 1u);
}

}  // namespace
}  // namespace veltrane::windows_tests
