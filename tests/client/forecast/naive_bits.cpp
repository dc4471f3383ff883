#include "tests/client/forecast/naive_bits.h"

#include <arpa/inet.h>

#include <cstdint>
#include <sstream>

namespace veltrane::naive {
namespace {

std::string BitsOf(char family, const std::uint8_t* bytes, std::size_t count) {
  std::string bits = {family, ':'};
  for (std::size_t bit = 0; bit < count * 8; ++bit) {
    bits += (bytes[bit / 8] >> (7 - bit % 8) & 1) != 0 ? '1' : '0';
  }
  return bits;
}

// ::ffff:0:0/96
const std::string kMapped = "6:" + std::string(80, '0') + std::string(16, '1');

std::optional<std::size_t> LengthOfText(const std::string& digits) {
  const bool number = digits.find_first_not_of("0123456789") == std::string::npos;
  if (digits.empty() || !number || digits.size() > 9) return std::nullopt;
  return std::stoul(digits);
}

}  // namespace

std::string Bits(const IpAddress& address) {
  const bool ipv4 = address.family == IpFamily::kIpv4;
  return BitsOf(ipv4 ? '4' : '6', address.bytes.data(), ipv4 ? 4 : 16);
}

std::optional<std::string> BitsOfText(const std::string& text) {
  std::uint8_t bytes[16];
  if (inet_pton(AF_INET, text.c_str(), bytes) == 1) return BitsOf('4', bytes, 4);
  if (inet_pton(AF_INET6, text.c_str(), bytes) == 1) return BitsOf('6', bytes, 16);
  return std::nullopt;
}

bool StartsWith(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

bool IsAllZeros(const std::string& bits) { return bits.find('1') == std::string::npos; }

NetworkList Networks(const std::string& list) {
  NetworkList read;
  std::istringstream items(list + ",");
  for (std::string item; std::getline(items, item, ',');) {
    item.erase(0, item.find_first_not_of(" \t"));
    item.erase(item.find_last_not_of(" \t") + 1);
    const std::size_t slash = item.find('/');
    const std::optional<std::string> bits = BitsOfText(item.substr(0, slash));
    const std::optional<std::size_t> length =
        slash == std::string::npos ? 128 : LengthOfText(item.substr(slash + 1));
    const bool fits = bits && length && (slash == std::string::npos || *length + 2 <= bits->size());
    if (!fits || StartsWith(*bits, kMapped)) {
      read.complete = false;
      continue;
    }
    read.networks.push_back(bits->substr(0, 2 + *length));
    read.hosts.push_back(*bits);
  }
  return read;
}

}  // namespace veltrane::naive
