#pragma once

// IPv4 addresses as text and as the 32-bit numbers of the routing tables: network byte order, that
// is, the first dotted number lies in the lowest byte. May be called on any thread.

#include <cstdint>
#include <optional>
#include <string>

namespace veltrane {

// Reads a dotted quad with the platform's inet_pton(AF_INET); nullopt when that does not answer 1
// (host names, IPv6 texts, prefix lengths, blanks).
std::optional<std::uint32_t> ParseIpv4(const std::string& text);

// Prints an address with the platform's inet_ntop(AF_INET); empty when printing fails.
std::string FormatIpv4(std::uint32_t address);

}  // namespace veltrane
