#pragma once

// The formats of profile values. Pure functions.

#include <string_view>

namespace veltrane {

// True for 44 characters of base64 (RFC 4648) that encode exactly 32 bytes.
bool IsWireGuardKey(std::string_view text);

// True for an IPv4 or IPv6 address, with or without a prefix length.
bool IsAddressWithPrefix(std::string_view text);

// True for a dotted quad.
bool IsIpv4(std::string_view text);

// True for an IPv6 address in one of the forms of RFC 4291, section 2.2, without a zone.
bool IsIpv6(std::string_view text);

// True for a name of letters, digits, hyphens and underscores in labels of up to 63, joined by
// dots, whose last label is not a number.
bool IsHostName(std::string_view text);

// True for a number from 1 to 65535.
bool IsPort(std::string_view text);

}  // namespace veltrane
