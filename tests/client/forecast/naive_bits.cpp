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

std::optional<std::vector<std::string>> Networks(const std::string& list) {
  std::vector<std::string> networks;
  std::istringstream items(list + ",");
  for (std::string item; std::getline(items, item, ',');) {
    item.erase(0, item.find_first_not_of(" \t"));
    item.erase(item.find_last_not_of(" \t") + 1);
    const std::size_t slash = item.find('/');
    std::optional<std::string> bits = BitsOfText(item.substr(0, slash));
    if (!bits) return std::nullopt;
    if (slash != std::string::npos) {
      const std::string length = item.substr(slash + 1);
      if (length.empty() || length.find_first_not_of("0123456789") != std::string::npos ||
          length.size() > 9 || std::stoul(length) > bits->size() - 2) {
        return std::nullopt;
      }
      bits->resize(2 + std::stoul(length));
    }
    networks.push_back(*bits);
  }
  return networks;
}

}  // namespace veltrane::naive
