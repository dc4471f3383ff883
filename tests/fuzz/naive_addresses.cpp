#include "tests/fuzz/naive_addresses.h"

#include <arpa/inet.h>

#include <array>

namespace veltrane::naive {

std::vector<std::string> Tokens(const std::string& text) {
  std::vector<std::string> tokens(1);
  for (const char c : text) {
    if (std::string(",; \t\r\n").find(c) == std::string::npos) {
      tokens.back() += c;
    } else if (!tokens.back().empty()) {
      tokens.emplace_back();
    }
  }
  if (tokens.back().empty()) tokens.pop_back();
  return tokens;
}

bool IsPublicAddress(const std::string& token) {
  std::array<unsigned char, 4> bytes{};
  if (inet_pton(AF_INET, token.c_str(), bytes.data()) != 1) return false;
  const auto [first, second, third, fourth] = bytes;
  if (first == 0 && second == 0 && third == 0 && fourth == 0) return false;
  if (first == 10 || first == 127) return false;
  if (first == 172 && second >= 16 && second < 32) return false;
  return !(first == 192 && second == 168) && !(first == 169 && second == 254);
}

std::string ArrayOf(const std::vector<std::string>& texts) {
  std::string array;
  for (const std::string& text : texts) {
    array += array.empty() ? "[\"" : ",\"";
    for (const char c : text) {
      if (c == '"' || c == '\\') array += '\\';
      array += c;
    }
    array += '"';
  }
  return array.empty() ? "[]" : array + "]";
}

}  // namespace veltrane::naive
