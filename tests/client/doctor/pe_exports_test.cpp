#include "client/doctor/pe_exports.h"

#include "tests/client/doctor/tunnel_library.h"

namespace veltrane {
namespace {

TEST(PeExports, FindsANameThatTheLibraryExports) {
  EXPECT_EQ(FindExport(TunnelLibrary("WireGuardTunnelService"), "WireGuardTunnelService"),
            ExportState::kPresent);
}

TEST(PeExports, DoesNotFindAnotherName) {
  EXPECT_EQ(FindExport(TunnelLibrary("WireGuardTunnelServic"), "WireGuardTunnelService"),
            ExportState::kMissing);
  EXPECT_EQ(FindExport(TunnelLibrary("WireGuardTunnelServiceX"), "WireGuardTunnelService"),
            ExportState::kMissing);
}

TEST(PeExports, ALibraryFor32BitIsForAnotherMachine) {
  std::string library = TunnelLibrary("WireGuardTunnelService");
  library[0x84] = 0x4C;
  library[0x85] = 0x01;
  EXPECT_EQ(FindExport(library, "WireGuardTunnelService"), ExportState::kOtherMachine);
}

TEST(PeExports, OtherFilesAreNotLibraries) {
  EXPECT_EQ(FindExport("", "x"), ExportState::kNotALibrary);
  EXPECT_EQ(FindExport("MZ", "x"), ExportState::kNotALibrary);
  EXPECT_EQ(FindExport(std::string(4096, 'x'), "x"), ExportState::kNotALibrary);
}

TEST(PeExports, ALibraryWithoutExportsExportsNothing) {
  std::string library = TunnelLibrary("WireGuardTunnelService");
  library.replace(0x80 + 24 + 112, 4, std::string(4, '\0'));
  EXPECT_EQ(FindExport(library, "WireGuardTunnelService"), ExportState::kMissing);
}

TEST(PeExports, ATruncatedOrLyingFileIsNotReadOutOfBounds) {
  const std::string whole = TunnelLibrary("WireGuardTunnelService");
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_NE(FindExport(whole.substr(0, size), "WireGuardTunnelService"), ExportState::kPresent);
  }
  for (std::size_t i = 0; i + 4 <= whole.size(); ++i) {
    std::string lying = whole;
    lying.replace(i, 4, "\xFF\xFF\xFF\xFF");
    FindExport(lying, "WireGuardTunnelService");
  }
}

}  // namespace
}  // namespace veltrane
