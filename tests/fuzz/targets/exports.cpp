// A file and how much more of it there is: the reader of a library's exports against a naive one.
// libFuzzer's own limit for one input keeps it from taking long.

#include <algorithm>
#include <optional>

#include "client/doctor/pe_exports.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

namespace veltrane {
namespace {

constexpr std::size_t kUnit = 4096;
constexpr std::size_t kMostNames = 65536;
constexpr std::size_t kMostSections = 96;
const std::string kName = "WireGuardTunnelService";

// A file in which every place that does not exist makes the file unreadable from there on.
class NaiveFile {
 public:
  explicit NaiveFile(const std::string& bytes) : bytes_(bytes) {}

  ExportState Find() {
    const std::size_t pe = Number(0x3C, 4);
    if (cut_ || bytes_.substr(0, 2) != "MZ" || Number(pe, 4) != 0x4550) {
      return ExportState::kNotALibrary;
    }
    const std::size_t machine = Number(pe + 4, 2);
    const std::size_t magic = Number(pe + 24, 2);
    if (cut_) return ExportState::kNotALibrary;
    if (machine != 0x8664 || magic != 0x20B) return ExportState::kOtherMachine;
    return Exports(pe) ? ExportState::kPresent : ExportState::kMissing;
  }

 private:
  std::size_t Number(std::size_t place, std::size_t size) {
    std::size_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
      if (place + i >= bytes_.size()) {
        cut_ = true;
        return 0;
      }
      value += static_cast<std::size_t>(static_cast<unsigned char>(bytes_[place + i])) << (8 * i);
    }
    return value;
  }

  // The place of what is loaded at an address; nullopt when no section has it.
  std::optional<std::size_t> PlaceOf(std::size_t pe, std::size_t address) {
    const std::size_t sections = pe + 24 + Number(pe + 20, 2);
    const std::size_t count = std::min(Number(pe + 6, 2), kMostSections);
    for (std::size_t header = sections; header < sections + count * 40; header += 40) {
      const std::size_t begin = Number(header + 12, 4);
      const std::size_t size = Number(header + 16, 4);
      const std::size_t place = Number(header + 20, 4);
      if (cut_) return std::nullopt;
      if (begin <= address && address < begin + size) return place + address - begin;
    }
    return std::nullopt;
  }

  bool Exports(std::size_t pe) {
    const std::size_t directory_address = Number(pe + 24 + 112, 4);
    if (cut_ || directory_address == 0) return false;
    const auto directory = PlaceOf(pe, directory_address);
    if (!directory) return false;
    const std::size_t count = std::min(Number(*directory + 24, 4), kMostNames);
    const std::size_t table_address = Number(*directory + 32, 4);
    if (cut_) return false;
    const auto table = PlaceOf(pe, table_address);
    if (!table) return false;
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t address = Number(*table + i * 4, 4);
      if (cut_) return false;
      const auto place = PlaceOf(pe, address);
      cut_ = false;
      if (place && *place < bytes_.size() &&
          bytes_.compare(*place, kName.size() + 1, kName + '\0') == 0) {
        return true;
      }
    }
    return false;
  }

  const std::string& bytes_;
  bool cut_ = false;
};

}  // namespace
}  // namespace veltrane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace veltrane;
  Input input(data, size);
  const std::size_t more = input.Byte() * kUnit;
  const std::string file = std::string(input.Rest()) + std::string(more, '\0');
  Require(FindExport(BareText(file).View(), kName) == NaiveFile(file).Find(), "the readers agree");
  return 0;
}
