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

// A library whose name table, with this many entries, is followed by one long text without an end.
// Every entry points into the text but one, which points to the wanted name.
std::string LibraryWithNames(std::size_t names, std::size_t wanted) {
  std::string library = TunnelLibrary("WireGuardTunnelService");
  const std::size_t table = library.size();
  const auto put = [&library](std::size_t offset, std::size_t value) {
    for (std::size_t i = 0; i < 4; ++i) {
      library[offset + i] = static_cast<char>(static_cast<unsigned char>(value >> (8 * i)));
    }
  };
  library.resize(table + names * 4);
  library.append(std::size_t{4} << 20, 'W');
  put(0x188 + 16, library.size());          // the size of the section
  put(0x200 + 24, names);                   // exported names
  put(0x200 + 32, 0x1000 + table - 0x200);  // their table
  for (std::size_t i = 0; i < names; ++i) {
    put(table + i * 4, i == wanted ? 0x1040 : 0x1000 + table - 0x200 + names * 4);
  }
  return library;
}

TEST(PeExports, TheLastOf65536NamesIsFound) {
  EXPECT_EQ(FindExport(LibraryWithNames(65536, 65535), "WireGuardTunnelService"),
            ExportState::kPresent);
}

TEST(PeExports, NoMoreThan65536NamesAreLookedAt) {
  EXPECT_EQ(FindExport(LibraryWithNames(65537, 65536), "WireGuardTunnelService"),
            ExportState::kMissing);
}

// A library with this many sections, of which only the last one holds something.
std::string LibraryWithSections(std::size_t sections) {
  std::string library = TunnelLibrary("WireGuardTunnelService");
  const std::string section = library.substr(0x188, 40);
  library.resize(0x4000);
  library.replace(0x86, 1, 1, static_cast<char>(sections));
  library.replace(0x188, 40, std::string(40, '\0'));
  std::string data = library.substr(0x200, 0x60);
  library.replace(0x200, 0x60, std::string(0x60, '\0'));
  library.replace(0x2000, data.size(), data);
  library.replace(0x188 + (sections - 1) * 40, 40, section);
  library.replace(0x188 + (sections - 1) * 40 + 20, 4, std::string("\x00\x20\0\0", 4));
  return library;
}

TEST(PeExports, NoMoreThan96SectionsAreLookedAt) {
  EXPECT_EQ(FindExport(LibraryWithSections(96), "WireGuardTunnelService"), ExportState::kPresent);
  EXPECT_EQ(FindExport(LibraryWithSections(97), "WireGuardTunnelService"), ExportState::kMissing);
}

TEST(PeExports, ANameWithoutAnEndIsNotAName) {
  const std::string library = TunnelLibrary("WireGuardTunnelService");
  EXPECT_EQ(FindExport(library.substr(0, library.size() - 1), "WireGuardTunnelService"),
            ExportState::kMissing);
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
