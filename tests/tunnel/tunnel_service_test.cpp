#include "tunnel/tunnel_service.h"

#include "tests/support/name_of.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using simulated::Machine;
using Texts = std::vector<std::string>;

constexpr wchar_t kPath[] = L" D:\\Pro\u00DFgramData\\\"x\"\\nowhere.conf ";
const Texts kLoads = {"Library.Load tunnel.dll"};
const Texts kLoadsFindsFrees = {"Library.Load tunnel.dll",
                                "Library.Find tunnel.dll WireGuardTunnelService",
                                "Library.Free tunnel.dll"};

std::wstring received_path;
std::size_t frees_while_running;

bool EndsWell(const wchar_t* path) {
  received_path = path;
  frees_while_running = Machine::Current().libraries.Frees(L"tunnel.dll");
  return true;
}

bool EndsBadly(const wchar_t* path) {
  EndsWell(path);
  return false;
}

class TunnelService : public OnMachine {
 protected:
  TunnelService() {
    received_path.clear();
    frees_while_running = 0;
  }
};

template <typename Function>
void Export(const std::string& name, Function function) {
  Machine::Current().libraries.AddExport(L"tunnel.dll", name,
                                         reinterpret_cast<LibraryFunction>(function));
}

TEST_F(TunnelService, WithoutAPathOrWithAnEmptyOneExitsWith1AndLoadsNothing) {
  Export("WireGuardTunnelService", &EndsWell);
  EXPECT_EQ(RunTunnelService(nullptr), 1);
  EXPECT_EQ(RunTunnelService(L""), 1);
  EXPECT_EQ(machine.calls.All(), Texts{});
}

struct TunnelDll {
  const char* name;
  void (*put)();
  int exit_code;
  std::wstring received_path;
  Texts calls;
};

class TunnelLibrary : public TunnelService, public testing::WithParamInterface<TunnelDll> {};

TEST_P(TunnelLibrary, DecidesTheExitCode) {
  GetParam().put();
  EXPECT_EQ(RunTunnelService(kPath), GetParam().exit_code);
  EXPECT_EQ(received_path, GetParam().received_path);
  EXPECT_EQ(frees_while_running, 0u);
  EXPECT_EQ(machine.calls.All(), GetParam().calls);
}

const TunnelDll kTunnelLibraries[] = {
    {"ThatRunsWell", [] { Export("WireGuardTunnelService", &EndsWell); }, 0, kPath,
     kLoadsFindsFrees},
    {"ThatIsMissing", [] {}, 2, L"", kLoads},
    {"ThatDoesNotLoad",
     [] {
       Export("WireGuardTunnelService", &EndsWell);
       Machine::Current().Fail("Library.Load", 1, 193);
     },
     2, L"", kLoads},
    {"WithoutExports", [] { Machine::Current().libraries.Add(L"tunnel.dll"); }, 3, L"",
     kLoadsFindsFrees},
    {"WithExportsOfAnotherSpelling",
     [] {
       Export("wireguardtunnelservice", &EndsWell);
       Export("WireGuardTunnelServiceW", &EndsWell);
     },
     3, L"", kLoadsFindsFrees},
    {"ThatEndsBadly", [] { Export("WireGuardTunnelService", &EndsBadly); }, 4, kPath,
     kLoadsFindsFrees}};

INSTANTIATE_TEST_SUITE_P(A, TunnelLibrary, testing::ValuesIn(kTunnelLibraries), NameOf<TunnelDll>);

#if defined(__x86_64__)
// The library is compiled elsewhere: of its boolean only the low byte of the register is defined.
asm(R"(
.text
FalseWithNoiseAboveTheByte:
  movl $0xFFFFFF00, %eax
  ret
)");
extern "C" bool FalseWithNoiseAboveTheByte(const wchar_t* path);

TEST_F(TunnelService, ReadsOneByteOfTheAnswer) {
  Export("WireGuardTunnelService", &FalseWithNoiseAboveTheByte);
  EXPECT_EQ(RunTunnelService(kPath), 4);
}
#endif

}  // namespace
}  // namespace veltrane
