#include "client/forecast/networks.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

#include "client/profile/value_formats.h"
#include "client/text/split.h"

namespace veltrane {
namespace {

constexpr std::size_t kIpv6Groups = 8;

std::uint32_t LongestPrefix(IpFamily family) { return family == IpFamily::kIpv4 ? 32 : 128; }

std::uint32_t ParseNumber(std::string_view text, int base) {
  std::uint32_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value, base);
  return value;
}

IpAddress ParseDottedQuad(std::string_view text) {
  IpAddress address;
  std::size_t next = 0;
  for (const std::string_view part : Split(text, '.')) {
    address.bytes[next++] = static_cast<std::uint8_t>(ParseNumber(part, 10));
  }
  return address;
}

// The 16-bit groups of a well-formed run between colons; a dotted quad is two.
std::vector<std::uint32_t> ParseGroups(std::string_view run) {
  std::vector<std::uint32_t> groups;
  if (run.empty()) return groups;
  for (const std::string_view part : Split(run, ':')) {
    if (IsIpv4(part)) {
      const IpAddress quad = ParseDottedQuad(part);
      groups.push_back(std::uint32_t{quad.bytes[0]} << 8 | quad.bytes[1]);
      groups.push_back(std::uint32_t{quad.bytes[2]} << 8 | quad.bytes[3]);
    } else {
      groups.push_back(ParseNumber(part, 16));
    }
  }
  return groups;
}

IpAddress ParseColons(std::string_view text) {
  const std::size_t gap = text.find("::");
  std::vector<std::uint32_t> groups = ParseGroups(text.substr(0, gap));
  if (gap != std::string_view::npos) {
    const std::vector<std::uint32_t> after = ParseGroups(text.substr(gap + 2));
    groups.resize(kIpv6Groups - after.size());
    groups.insert(groups.end(), after.begin(), after.end());
  }
  IpAddress address{.family = IpFamily::kIpv6, .bytes = {}};
  for (std::size_t i = 0; i < kIpv6Groups; ++i) {
    address.bytes[2 * i] = static_cast<std::uint8_t>(groups[i] >> 8);
    address.bytes[2 * i + 1] = static_cast<std::uint8_t>(groups[i] & 0xFF);
  }
  return address;
}

// ::ffff:0:0/96 (RFC 4291, section 2.5.5.2).
bool IsIpv4Mapped(const IpAddress& address) {
  constexpr std::array<std::uint8_t, 12> kPrefix = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
  return address.family == IpFamily::kIpv6 &&
         std::equal(kPrefix.begin(), kPrefix.end(), address.bytes.begin());
}

IpAddress Unmapped(const IpAddress& mapped) {
  IpAddress address;
  std::copy(mapped.bytes.begin() + 12, mapped.bytes.end(), address.bytes.begin());
  return address;
}

// The longest run of two groups or more that are 0, as RFC 5952 shortens it.
struct ZeroRun {
  std::size_t begin = kIpv6Groups;
  std::size_t length = 1;
};

ZeroRun LongestZeroRun(const std::array<std::uint32_t, kIpv6Groups>& groups) {
  ZeroRun longest;
  std::size_t length = 0;
  for (std::size_t i = 0; i < kIpv6Groups; ++i) {
    length = groups[i] == 0 ? length + 1 : 0;
    if (length > longest.length) longest = {i + 1 - length, length};
  }
  return longest;
}

std::string HexText(std::uint32_t group) {
  char text[8];
  std::snprintf(text, sizeof(text), "%x", group);
  return text;
}

std::string Ipv6Text(const IpAddress& address) {
  std::array<std::uint32_t, kIpv6Groups> groups;
  for (std::size_t i = 0; i < kIpv6Groups; ++i) {
    groups[i] = std::uint32_t{address.bytes[2 * i]} << 8 | address.bytes[2 * i + 1];
  }
  const ZeroRun zeros = LongestZeroRun(groups);
  std::string text;
  for (std::size_t i = 0; i < kIpv6Groups; ++i) {
    if (i == zeros.begin) {
      text += "::";
      i += zeros.length - 1;
      continue;
    }
    if (!text.empty() && text.back() != ':') text += ':';
    text += HexText(groups[i]);
  }
  return text;
}

std::optional<std::uint32_t> ParseLength(std::string_view text) {
  std::uint32_t length = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), length);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return length;
}

// Whether the networks have every address of this one: one of them has them all, or they have those
// of both its halves.
bool Cover(const std::vector<IpNetwork>& networks, const IpNetwork& whole) {
  bool any_inside = false;
  for (const IpNetwork& network : networks) {
    if (network.prefix_length <= whole.prefix_length && network.Contains(whole.address))
      return true;
    any_inside = any_inside || whole.Contains(network.address);
  }
  if (!any_inside) return false;
  IpNetwork half{.address = whole.address, .prefix_length = whole.prefix_length + 1};
  if (!Cover(networks, half)) return false;
  half.address.bytes[whole.prefix_length / 8] |=
      static_cast<std::uint8_t>(0x80 >> whole.prefix_length % 8);
  return Cover(networks, half);
}

// The byte of a mask of this length.
std::uint8_t MaskByte(std::uint32_t prefix_length, std::size_t index) {
  const std::size_t before = 8 * index;
  if (prefix_length >= before + 8) return 0xFF;
  if (prefix_length <= before) return 0;
  return static_cast<std::uint8_t>(0xFF << (before + 8 - prefix_length));
}

}  // namespace

bool IpNetwork::Contains(const IpAddress& other) const {
  if (other.family != address.family) return false;
  for (std::size_t i = 0; i < address.bytes.size(); ++i) {
    if (((address.bytes[i] ^ other.bytes[i]) & MaskByte(prefix_length, i)) != 0) return false;
  }
  return true;
}

std::optional<IpAddress> ParseAddress(std::string_view text) {
  if (IsIpv4(text)) return ParseDottedQuad(text);
  if (!IsIpv6(text)) return std::nullopt;
  const IpAddress address = ParseColons(text);
  return IsIpv4Mapped(address) ? Unmapped(address) : address;
}

std::vector<IpAddress> ParseAddresses(const std::vector<std::string>& texts) {
  std::vector<IpAddress> addresses;
  addresses.reserve(texts.size());
  for (const std::string& text : texts) addresses.push_back(ParseAddress(text).value());
  return addresses;
}

std::optional<IpNetwork> ParseNetwork(std::string_view text) {
  const std::size_t slash = text.find('/');
  const std::string_view host = text.substr(0, slash);
  const bool ipv4 = IsIpv4(host);
  if (!ipv4 && !IsIpv6(host)) return std::nullopt;
  IpNetwork network{.address = ipv4 ? ParseDottedQuad(host) : ParseColons(host)};
  if (IsIpv4Mapped(network.address)) return std::nullopt;
  network.prefix_length = LongestPrefix(network.address.family);
  if (slash != std::string_view::npos) {
    const std::optional<std::uint32_t> length = ParseLength(text.substr(slash + 1));
    if (!length || *length > network.prefix_length) return std::nullopt;
    network.prefix_length = *length;
  }
  for (std::size_t i = 0; i < network.address.bytes.size(); ++i) {
    network.address.bytes[i] &= MaskByte(network.prefix_length, i);
  }
  return network;
}

std::optional<std::vector<IpNetwork>> ParseNetworks(std::string_view list) {
  std::vector<IpNetwork> networks;
  for (const std::string_view item : Split(list, ',')) {
    const std::optional<IpNetwork> network = ParseNetwork(Trimmed(item));
    if (!network) return std::nullopt;
    networks.push_back(*network);
  }
  return networks;
}

bool CoverFamily(const std::vector<IpNetwork>& networks, IpFamily family) {
  return Cover(networks, {.address = {.family = family, .bytes = {}}, .prefix_length = 0});
}

std::string AddressText(const IpAddress& address) {
  if (address.family == IpFamily::kIpv6) return Ipv6Text(address);
  std::string text = std::to_string(address.bytes[0]);
  for (std::size_t i = 1; i < 4; ++i) text += "." + std::to_string(address.bytes[i]);
  return text;
}

std::string NetworkText(const IpNetwork& network) {
  return AddressText(network.address) + "/" + std::to_string(network.prefix_length);
}

bool IsOfMachine(const IpAddress& address) {
  if (IsUnspecified(address)) return false;
  if (address.family == IpFamily::kIpv6) return address.bytes[0] != 0xFF;
  const bool multicast = (address.bytes[0] & 0xF0) == 0xE0;
  const bool broadcast = std::all_of(address.bytes.begin(), address.bytes.begin() + 4,
                                     [](std::uint8_t byte) { return byte == 0xFF; });
  return !multicast && !broadcast;
}

bool IsUnspecified(const IpAddress& address) {
  return std::all_of(address.bytes.begin(), address.bytes.end(),
                     [](std::uint8_t byte) { return byte == 0; });
}

bool IsLoopback(const IpAddress& address) {
  if (address.family == IpFamily::kIpv4) return address.bytes[0] == 127;
  return address.bytes[15] == 1 && std::all_of(address.bytes.begin(), address.bytes.end() - 1,
                                               [](std::uint8_t byte) { return byte == 0; });
}

bool IsIpv6LinkLocal(const IpAddress& address) {
  return address.family == IpFamily::kIpv6 && address.bytes[0] == 0xFE &&
         (address.bytes[1] & 0xC0) == 0x80;
}

}  // namespace veltrane
