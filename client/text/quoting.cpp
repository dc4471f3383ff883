#include "client/text/quoting.h"

#include <cctype>
#include <cstddef>

#include "client/text/utf8.h"

namespace veltrane {
namespace {

constexpr std::size_t kKeyLikeDigits = 40;

bool LooksLikeKey(std::string_view text) {
  std::size_t run = 0;
  for (const char c : text) {
    const bool digit = std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '+' || c == '/';
    run = digit ? run + 1 : 0;
    if (run >= kKeyLikeDigits) return true;
  }
  return false;
}

}  // namespace

std::string Shown(std::string_view text) {
  return LooksLikeKey(text) ? Hidden(text) : Printable(text);
}

std::string Quoted(std::string_view text) { return "\"" + Shown(text) + "\""; }

std::string Hidden(std::string_view text) {
  return "(hidden, " + std::to_string(text.size()) + " characters)";
}

}  // namespace veltrane
