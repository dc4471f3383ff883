#include "platform/ipv4.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <array>

namespace veltrane {

std::optional<std::uint32_t> ParseIpv4(const std::string& text) {
  IN_ADDR address{};
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) return std::nullopt;
  return address.s_addr;
}

std::string FormatIpv4(std::uint32_t address) {
  IN_ADDR in_address{};
  in_address.s_addr = address;
  std::array<char, 22> buffer{};  // fits "255.255.255.255:65535" and a terminating zero
  const char* text = inet_ntop(AF_INET, &in_address, buffer.data(), buffer.size());
  return text == nullptr ? std::string() : std::string(text);
}

}  // namespace veltrane
