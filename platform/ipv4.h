#pragma once

// IPv4 addresses as text and as 32-bit numbers.
// Units: numbers in network byte order, so the first octet is the least significant byte on x64.
// Threads: any.
// Windows: "Windows Sockets 2".

#include <cstdint>
#include <optional>
#include <string>

namespace veltrane {

// Parses a dotted quad (inet_pton, AF_INET). nullopt for any other text, such as a host name, an
// IPv6 address, a prefix length or a space.
std::optional<std::uint32_t> ParseIpv4(const std::string& text);

// Formats an address as a dotted quad (inet_ntop, AF_INET). Empty on failure.
std::string FormatIpv4(std::uint32_t address);

}  // namespace veltrane
