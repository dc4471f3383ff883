#include "tunnel/tunnel_service.h"

#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using simulated::Machine;

std::wstring received_path;
std::size_t frees_while_running;

bool EndsWell(const wchar_t* path) {
  received_path = path;
  frees_while_running = Machine::Current().libraries.Frees(L"tunnel.dll");
  return true;
}

bool EndsBadly(const wchar_t* path) {
  received_path = path;
  return false;
}

#if defined(__x86_64__)
// The library is compiled elsewhere: of its boolean only the low byte of the register is defined.
asm(R"(
.text
FalseWithNoiseAboveTheByte:
  movl $0xFFFFFF00, %eax
  ret
)");
extern "C" bool FalseWithNoiseAboveTheByte(const wchar_t* path);
#endif

class TunnelService : public OnMachine {
 protected:
  TunnelService() {
    received_path.clear();
    frees_while_running = 0;
  }

  template <typename Function>
  void Export(const std::string& name, Function function) {
    machine.libraries.AddExport(L"tunnel.dll", name, reinterpret_cast<LibraryFunction>(function));
  }
};

TEST_F(TunnelService, WithoutAPathExitsWith1AndLoadsNothing) {
  Export("WireGuardTunnelService", &EndsWell);
  EXPECT_EQ(RunTunnelService(nullptr), 1);
  EXPECT_EQ(machine.calls.All(), std::vector<std::string>{});
}

TEST_F(TunnelService, WithAnEmptyPathExitsWith1AndLoadsNothing) {
  Export("WireGuardTunnelService", &EndsWell);
  EXPECT_EQ(RunTunnelService(L""), 1);
  EXPECT_EQ(machine.calls.All(), std::vector<std::string>{});
  EXPECT_EQ(received_path, L"");
}

TEST_F(TunnelService, WithoutTheLibraryExitsWith2) {
  EXPECT_EQ(RunTunnelService(L"C:\\active.conf"), 2);
  EXPECT_EQ(machine.calls.All(), (std::vector<std::string>{"Library.Load tunnel.dll"}));
}

TEST_F(TunnelService, WithALibraryThatDoesNotLoadExitsWith2) {
  Export("WireGuardTunnelService", &EndsWell);
  machine.Fail("Library.Load", 1, 193);
  EXPECT_EQ(RunTunnelService(L"C:\\active.conf"), 2);
  EXPECT_EQ(machine.calls.All(), (std::vector<std::string>{"Library.Load tunnel.dll"}));
  EXPECT_EQ(received_path, L"");
}

TEST_F(TunnelService, WithoutTheExportFreesTheLibraryAndExitsWith3) {
  machine.libraries.Add(L"tunnel.dll");
  EXPECT_EQ(RunTunnelService(L"C:\\active.conf"), 3);
  EXPECT_EQ(machine.calls.All(),
            (std::vector<std::string>{"Library.Load tunnel.dll",
                                      "Library.Find tunnel.dll WireGuardTunnelService",
                                      "Library.Free tunnel.dll"}));
}

TEST_F(TunnelService, DoesNotTakeAnExportOfAnotherSpelling) {
  Export("wireguardtunnelservice", &EndsWell);
  Export("WireGuardTunnelServiceW", &EndsWell);
  EXPECT_EQ(RunTunnelService(L"C:\\active.conf"), 3);
  EXPECT_EQ(received_path, L"");
}

TEST_F(TunnelService, ThatEndsWellFreesTheLibraryAndExitsWith0) {
  Export("WireGuardTunnelService", &EndsWell);
  EXPECT_EQ(RunTunnelService(L"C:\\active.conf"), 0);
  EXPECT_EQ(machine.calls.All(),
            (std::vector<std::string>{"Library.Load tunnel.dll",
                                      "Library.Find tunnel.dll WireGuardTunnelService",
                                      "Library.Free tunnel.dll"}));
}

TEST_F(TunnelService, ThatFailsFreesTheLibraryAndExitsWith4) {
  Export("WireGuardTunnelService", &EndsBadly);
  EXPECT_EQ(RunTunnelService(L"C:\\active.conf"), 4);
  EXPECT_EQ(received_path, L"C:\\active.conf");
  EXPECT_EQ(machine.calls.All(),
            (std::vector<std::string>{"Library.Load tunnel.dll",
                                      "Library.Find tunnel.dll WireGuardTunnelService",
                                      "Library.Free tunnel.dll"}));
}

#if defined(__x86_64__)
TEST_F(TunnelService, ReadsOneByteOfTheAnswer) {
  Export("WireGuardTunnelService", &FalseWithNoiseAboveTheByte);
  EXPECT_EQ(RunTunnelService(L"C:\\active.conf"), 4);
}
#endif

TEST_F(TunnelService, KeepsTheLibraryLoadedWhileTheTunnelRuns) {
  Export("WireGuardTunnelService", &EndsWell);
  RunTunnelService(L"C:\\active.conf");
  EXPECT_EQ(frees_while_running, 0u);
  EXPECT_EQ(machine.libraries.Loads(L"tunnel.dll"), 1u);
  EXPECT_EQ(machine.libraries.Frees(L"tunnel.dll"), 1u);
}

TEST_F(TunnelService, HandsThePathOnUnchanged) {
  Export("WireGuardTunnelService", &EndsWell);
  EXPECT_EQ(RunTunnelService(L" D:\\Pro\u00DFgramData\\\"x\"\\active.conf "), 0);
  EXPECT_EQ(received_path, L" D:\\Pro\u00DFgramData\\\"x\"\\active.conf ");
}

TEST_F(TunnelService, DoesNotTestWhetherTheFileIsThere) {
  Export("WireGuardTunnelService", &EndsWell);
  EXPECT_EQ(RunTunnelService(L"Z:\\nowhere.conf"), 0);
  EXPECT_EQ(machine.calls.Count("TestExistence"), 0u);
}

}  // namespace
}  // namespace veltrane
