#include "client/doctor/pe_exports.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace veltrane {
namespace {

constexpr std::uint64_t kPeOffsetField = 0x3C;
constexpr std::uint16_t kMachineAmd64 = 0x8664;
constexpr std::uint16_t kMagicPe32Plus = 0x20B;
constexpr std::uint64_t kFileHeaderBytes = 24;  // signature included
constexpr std::uint64_t kExportDirectoryField = 112;
constexpr std::uint64_t kSectionHeaderBytes = 40;
constexpr std::uint64_t kMostSections = 96;   // the loader takes no more
constexpr std::uint64_t kMostNames = 65'536;  // ordinals have 16 bits

class PeFile {
 public:
  explicit PeFile(std::string_view bytes) : bytes_(bytes) {}

  // False when the headers are missing or truncated.
  bool ReadHeaders() {
    const auto pe = Number32(kPeOffsetField);
    if (bytes_.substr(0, 2) != "MZ" || !pe) return false;
    pe_ = *pe;
    return pe_ <= bytes_.size() && bytes_.substr(pe_, 4) == std::string_view("PE\0\0", 4) &&
           Number16(pe_ + kFileHeaderBytes).has_value();
  }

  bool IsFor64BitX86() const {
    return Number16(pe_ + 4) == kMachineAmd64 && Number16(pe_ + kFileHeaderBytes) == kMagicPe32Plus;
  }

  bool Exports(std::string_view name) const {
    const auto directory_rva = Number32(pe_ + kFileHeaderBytes + kExportDirectoryField);
    if (!directory_rva || *directory_rva == 0) return false;
    const auto directory = Offset(*directory_rva);
    if (!directory) return false;
    const auto count = Number32(*directory + 24);
    const auto names_rva = Number32(*directory + 32);
    if (!count || !names_rva) return false;
    const auto names = Offset(*names_rva);
    if (!names) return false;
    for (std::uint64_t i = 0; i < std::min<std::uint64_t>(*count, kMostNames); ++i) {
      const auto name_rva = Number32(*names + i * 4);
      if (!name_rva) return false;
      const auto position = Offset(*name_rva);
      if (position && HasTextAt(*position, name)) return true;
    }
    return false;
  }

 private:
  std::optional<std::uint64_t> Number(std::uint64_t offset, std::size_t size) const {
    if (offset > bytes_.size() || bytes_.size() - offset < size) return std::nullopt;
    std::uint64_t value = 0;
    for (std::size_t i = size; i-- > 0;) {
      value = value << 8 | static_cast<unsigned char>(bytes_[offset + i]);
    }
    return value;
  }
  std::optional<std::uint64_t> Number16(std::uint64_t offset) const { return Number(offset, 2); }
  std::optional<std::uint64_t> Number32(std::uint64_t offset) const { return Number(offset, 4); }

  // The place in the file of the byte that is loaded at this address.
  std::optional<std::uint64_t> Offset(std::uint64_t rva) const {
    const auto count = Number16(pe_ + 6);
    const auto optional_header_bytes = Number16(pe_ + 20);
    if (!count || !optional_header_bytes) return std::nullopt;
    const std::uint64_t sections = pe_ + kFileHeaderBytes + *optional_header_bytes;
    for (std::uint64_t i = 0; i < std::min<std::uint64_t>(*count, kMostSections); ++i) {
      const std::uint64_t section = sections + i * kSectionHeaderBytes;
      const auto begin = Number32(section + 12);
      const auto size = Number32(section + 16);
      const auto file_offset = Number32(section + 20);
      if (!begin || !size || !file_offset) return std::nullopt;
      if (rva >= *begin && rva - *begin < *size) return *file_offset + (rva - *begin);
    }
    return std::nullopt;
  }

  // Whether this text and a zero are at this place. Looks at no byte behind them.
  bool HasTextAt(std::uint64_t offset, std::string_view text) const {
    if (offset > bytes_.size() || bytes_.size() - offset <= text.size()) return false;
    return bytes_.substr(offset, text.size()) == text && bytes_[offset + text.size()] == '\0';
  }

  std::string_view bytes_;
  std::uint64_t pe_ = 0;
};

}  // namespace

ExportState FindExport(std::string_view file, std::string_view name) {
  PeFile pe(file);
  if (!pe.ReadHeaders()) return ExportState::kNotALibrary;
  if (!pe.IsFor64BitX86()) return ExportState::kOtherMachine;
  return pe.Exports(name) ? ExportState::kPresent : ExportState::kMissing;
}

}  // namespace veltrane
