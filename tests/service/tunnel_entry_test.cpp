// The mode "/service <conf>".

#include <string>
#include <vector>

#include "tests/service/program.h"

namespace veltrane {
namespace {

using Texts = std::vector<std::string>;

// What the tunnel library was given and is to answer.
std::wstring given_path;
bool tunnel_ends_well = true;

bool RunTunnel(const wchar_t* conf_path) {
  given_path = conf_path;
  return tunnel_ends_well;
}

class TunnelEntry : public OnMachine {
 protected:
  TunnelEntry() {
    given_path.clear();
    tunnel_ends_well = true;
  }

  void InstallLibrary() {
    machine.libraries.AddExport(L"tunnel.dll", "WireGuardTunnelService",
                                reinterpret_cast<LibraryFunction>(&RunTunnel));
  }
};

TEST_F(TunnelEntry, HandsThePathToTheTunnelLibraryUnchanged) {
  InstallLibrary();
  EXPECT_EQ(RunProgram({L"/service", L"C:\\Program Data\\\"\u00DCber\"\\a.conf "}), 0);
  EXPECT_EQ(given_path, L"C:\\Program Data\\\"\u00DCber\"\\a.conf ");
}

TEST_F(TunnelEntry, RunsNothingElseAndPrintsNothing) {
  InstallLibrary();
  RunProgram({L"/service", L"C:\\a.conf"});
  EXPECT_EQ(machine.calls.All(),
            (Texts{"UtcTicks", "Library.Load tunnel.dll",
                   "Library.Find tunnel.dll WireGuardTunnelService", "Library.Free tunnel.dll"}));
}

TEST_F(TunnelEntry, Returns4WhenTheTunnelEndedBadly) {
  InstallLibrary();
  tunnel_ends_well = false;
  EXPECT_EQ(RunProgram({L"/service", L"C:\\a.conf"}), 4);
}

TEST_F(TunnelEntry, Returns3WhenTheLibraryLacksTheExport) {
  machine.libraries.Add(L"tunnel.dll");
  EXPECT_EQ(RunProgram({L"/service", L"C:\\a.conf"}), 3);
}

TEST_F(TunnelEntry, Returns2WithoutTheLibrary) {
  EXPECT_EQ(RunProgram({L"/service", L"C:\\a.conf"}), 2);
}

TEST_F(TunnelEntry, Returns1ForAnEmptyPathWithoutLoadingTheLibrary) {
  InstallLibrary();
  EXPECT_EQ(RunProgram({L"/service", L""}), 1);
  EXPECT_EQ(machine.calls.All(), Texts{"UtcTicks"});
}

TEST_F(TunnelEntry, IgnoresArgumentsBehindThePath) {
  InstallLibrary();
  EXPECT_EQ(RunProgram({L"/service", L"C:\\a.conf", L"--install", L"--dry-run-startup"}), 0);
  EXPECT_EQ(given_path, L"C:\\a.conf");
  EXPECT_EQ(machine.console.Output(), L"");
}

TEST_F(TunnelEntry, TakesADryRunSwitchBehindItAsThePath) {
  InstallLibrary();
  EXPECT_EQ(RunProgram({L"/service", L"--dry-run-startup"}), 0);
  EXPECT_EQ(given_path, L"--dry-run-startup");
  EXPECT_EQ(machine.console.Output(), L"");
}

}  // namespace
}  // namespace veltrane
