// A text against each format of profile values, and against simple readings of the same rules.

#include <arpa/inet.h>

#include <array>
#include <cstdlib>
#include <regex>

#include "client/profile/value_formats.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

namespace veltrane {
namespace {

bool IsParsed(int family, const std::string& text) {
  std::array<char, sizeof(in6_addr)> address{};
  return inet_pton(family, text.c_str(), address.data()) == 1;
}

// Whether the text is such a number, written in the one way in which numbers are printed.
bool IsUpTo(const std::string& text, int highest) {
  const int number = std::atoi(text.substr(0, 6).c_str());
  return number >= 0 && number <= highest && std::to_string(number) == text;
}

bool HasPrefix(const std::string& text) {
  const std::size_t slash = text.find('/');
  const std::string address = text.substr(0, slash);
  const bool ipv4 = IsParsed(AF_INET, address);
  if (!ipv4 && !IsParsed(AF_INET6, address)) return false;
  return slash == std::string::npos || IsUpTo(text.substr(slash + 1), ipv4 ? 32 : 128);
}

// 32 bytes leave two bits of the last digit unused.
bool IsKey(const std::string& text) {
  static const std::regex kForm("[A-Za-z0-9+/]{42}[AEIMQUYcgkosw048]=");
  return std::regex_match(text, kForm);
}

bool IsName(const std::string& text) {
  static const std::regex kForm(
      "([A-Za-z0-9_]([A-Za-z0-9_-]{0,61}[A-Za-z0-9_])?\\.)*"
      "[A-Za-z0-9_]([A-Za-z0-9_-]{0,61}[A-Za-z0-9_])?");
  static const std::regex kNumberLast("(.*\\.)?[0-9]+");
  return text.size() <= 253 && std::regex_match(text, kForm) &&
         !std::regex_match(text, kNumberLast);
}

}  // namespace
}  // namespace veltrane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace veltrane;
  const std::string text = Input(data, size).Text();
  const BareText bare(text);
  Require(IsIpv4(bare.View()) == IsParsed(AF_INET, text),
          "an IPv4 address is what inet_pton reads");
  Require(IsIpv6(bare.View()) == IsParsed(AF_INET6, text),
          "an IPv6 address is what inet_pton reads");
  Require(IsAddressWithPrefix(bare.View()) == HasPrefix(text), "an address with a prefix length");
  Require(IsWireGuardKey(bare.View()) == IsKey(text), "a key");
  if (text.size() < 300) Require(IsHostName(bare.View()) == IsName(text), "a host name");
  Require(IsPort(bare.View()) == (text != "0" && IsUpTo(text, 65535)), "a port");
  return 0;
}
