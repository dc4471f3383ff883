#include "client/text/utf8.h"

namespace veltrane {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

bool IsControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 || byte == 0x7F;
}

// Decodes a sequence of the right length.
char32_t Decode(std::string_view sequence) {
  char32_t point = static_cast<unsigned char>(sequence[0]);
  if (sequence.size() > 1) point &= 0x7Fu >> sequence.size();
  for (const char c : sequence.substr(1))
    point = point << 6 | (static_cast<unsigned char>(c) & 0x3F);
  return point;
}

std::size_t LengthByLeadByte(char c) {
  const auto lead = static_cast<unsigned char>(c);
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  return lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
}

// The length of the well-formed sequence at the front of the text; 0 when there is none.
std::size_t SequenceLength(std::string_view text) {
  if (text.empty()) return 0;
  const std::size_t length = LengthByLeadByte(text[0]);
  if (length == 0 || length > text.size()) return 0;
  for (const char c : text.substr(1, length - 1)) {
    if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) return 0;
  }
  const char32_t point = Decode(text.substr(0, length));
  const bool overlong = (length == 3 && point < 0x800) || (length == 4 && point < 0x10000);
  const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
  return overlong || surrogate || point > 0x10FFFF ? 0 : length;
}

}  // namespace

std::string EncodeUtf8(char32_t point) {
  const auto byte = [](char32_t value) {
    return static_cast<char>(static_cast<unsigned char>(value));
  };
  if (point < 0x80) return {byte(point)};
  const char last = byte(0x80 | (point & 0x3F));
  if (point < 0x800) return {byte(0xC0 | point >> 6), last};
  const char third = byte(0x80 | (point >> 6 & 0x3F));
  if (point < 0x10000) return {byte(0xE0 | point >> 12), third, last};
  return {byte(0xF0 | point >> 18), byte(0x80 | (point >> 12 & 0x3F)), third, last};
}

bool IsPrintableUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = SequenceLength(text);
    if (length == 0 || IsControl(text[0])) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string RepairUtf8(std::string_view text) {
  std::string repaired;
  repaired.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = SequenceLength(text);
    repaired += length == 0 ? kReplacement : text.substr(0, length);
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return repaired;
}

std::string Printable(std::string_view text) {
  std::string safe;
  for (const char c : RepairUtf8(text)) {
    if (IsControl(c)) {
      safe += kReplacement;
    } else {
      safe += c;
    }
  }
  return safe;
}

}  // namespace veltrane
