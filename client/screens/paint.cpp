#include "client/screens/paint.h"

#include <algorithm>

namespace veltrane {
namespace {

const char* Sequence(Colour colour) {
  switch (colour) {
    case Colour::kGood:
      return "\x1b[32m";
    case Colour::kWarning:
      return "\x1b[33m";
    case Colour::kBad:
      return "\x1b[31m";
    case Colour::kHeading:
      return "\x1b[1m";
  }
  return "";
}

bool BeginsCodePoint(char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }

}  // namespace

std::string Painter::operator()(Colour colour, std::string_view text) const {
  if (!colourful_) return std::string(text);
  return Sequence(colour) + std::string(text) + "\x1b[0m";
}

std::string Row(std::string_view label, std::string_view text, std::size_t width) {
  return "  " + Padded(label, width) + std::string(text) + "\n";
}

std::string Rows(std::string_view label, const std::vector<std::string>& texts, std::size_t width) {
  std::string rows;
  for (const std::string& text : texts) rows += Row(rows.empty() ? label : "", text, width);
  return rows;
}

std::string Padded(std::string_view text, std::size_t columns) {
  const auto used =
      static_cast<std::size_t>(std::count_if(text.begin(), text.end(), BeginsCodePoint));
  return std::string(text) + std::string(columns > used ? columns - used : 0, ' ');
}

}  // namespace veltrane
