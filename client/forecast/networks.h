#pragma once

// IP addresses and networks as text. Pure functions.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ip_network.h"

namespace veltrane {

// A network; the bits of the address behind the prefix are 0.
struct IpNetwork {
  IpAddress address;
  std::uint32_t prefix_length = 0;

  // False for an address of the other family.
  bool Contains(const IpAddress& other) const;

  bool operator==(const IpNetwork&) const = default;
};

// Parses an IPv4 address (a dotted quad) or an IPv6 address (RFC 4291, section 2.2) without a zone.
// An IPv4-mapped IPv6 address is one of IPv4. nullopt for any other text.
std::optional<IpAddress> ParseAddress(std::string_view text);

// The same for texts that are addresses.
std::vector<IpAddress> ParseAddresses(const std::vector<std::string>& texts);

// Parses an address with a prefix length; without one the network is the address alone. The length
// is read as a number, and the bits behind it are cleared: "1.2.3.4/00" is 0.0.0.0/0. nullopt for
// any other text, and for an IPv4-mapped IPv6 address, which some programs take for IPv4.
std::optional<IpNetwork> ParseNetwork(std::string_view text);

// Parses a comma-separated list with optional white space around the items. nullopt when one of
// them is not a network.
std::optional<std::vector<IpNetwork>> ParseNetworks(std::string_view list);

// Whether these networks together have every address of the family.
bool CoverFamily(const std::vector<IpNetwork>& networks, IpFamily family);

// "203.0.113.5", or an IPv6 address as RFC 5952 recommends it: "2001:db8::5".
std::string AddressText(const IpAddress& address);

// "10.66.66.0/24"
std::string NetworkText(const IpNetwork& network);

// Whether a machine can have this address: not 0.0.0.0, ::, 255.255.255.255 or one for multicast.
bool IsOfMachine(const IpAddress& address);

// True for 0.0.0.0 and ::
bool IsUnspecified(const IpAddress& address);

// True for 127.0.0.0/8 and ::1.
bool IsLoopback(const IpAddress& address);

// True for fe80::/10, whose addresses need a zone.
bool IsIpv6LinkLocal(const IpAddress& address);

}  // namespace veltrane
