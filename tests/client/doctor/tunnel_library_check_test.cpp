#include "tests/client/doctor/on_examined_machine.h"

namespace veltrane {
namespace {

std::string LibraryFor32Bit() {
  std::string library = TunnelLibrary("WireGuardTunnelService");
  library.replace(0x84, 2, "\x4C\x01");
  return library;
}

struct BadLibrary {
  const char* name;
  std::optional<std::string> bytes;
  const char* lines;
};

class DoctorOnLibrary : public OnExaminedMachine, public testing::WithParamInterface<BadLibrary> {};

TEST_P(DoctorOnLibrary, SaysWhatIsWrongWithIt) {
  machine.files.Remove(kLibrary);
  if (GetParam().bytes) machine.files.AddFile(kLibrary, *GetParam().bytes);
  EXPECT_EQ(ExamineService(), 11);
  EXPECT_EQ(Group("tunnel library"), GetParam().lines);
}

INSTANTIATE_TEST_SUITE_P(
    Libraries, DoctorOnLibrary,
    testing::Values(
        BadLibrary{"Missing", std::nullopt,
                   "  FAIL  tunnel.dll  C:\\Program Files\\Veltrane\\tunnel.dll cannot be read "
                   "(Windows error 2)\n"
                   "                    fix: copy tunnel.dll \"C:\\Program "
                   "Files\\Veltrane\\tunnel.dll\"\n"},
        BadLibrary{
            "NotALibrary", "not a library",
            "  FAIL  tunnel.dll  C:\\Program Files\\Veltrane\\tunnel.dll is not a Windows library\n"
            "                    fix: copy tunnel.dll \"C:\\Program "
            "Files\\Veltrane\\tunnel.dll\"\n"},
        BadLibrary{
            "For32Bit", LibraryFor32Bit(),
            "  FAIL  tunnel.dll  C:\\Program Files\\Veltrane\\tunnel.dll is not for 64-bit x86\n"
            "                    fix: copy tunnel.dll \"C:\\Program "
            "Files\\Veltrane\\tunnel.dll\"\n"},
        BadLibrary{"WithoutTheExport", TunnelLibrary("WireGuardGenerateKeypair"),
                   "  FAIL  tunnel.dll  C:\\Program Files\\Veltrane\\tunnel.dll does not export "
                   "WireGuardTunnelService\n"
                   "                    fix: copy tunnel.dll \"C:\\Program "
                   "Files\\Veltrane\\tunnel.dll\"\n"}),
    [](const auto& library) { return library.param.name; });

}  // namespace
}  // namespace veltrane
