#pragma once

// Checks of the values of a profile, which the service takes as they are. Pure functions.

#include <optional>
#include <string_view>

#include "client/profile/profile.h"

namespace veltrane {

// The first problem of a profile: a value that a tunnel needs is missing, a key is no base64 of 32
// bytes, an address is none, a port is out of range, or a value has characters that the service
// would carry into its configuration file or its replies unescaped. It is told in the given words.
std::optional<ProfileProblem> FindProfileProblem(const Profile& profile,
                                                 const ProfileKeyWords& words = kProfileKeyNames);

// True for 44 characters of base64 (RFC 4648) that stand for exactly 32 bytes.
bool IsWireGuardKey(std::string_view text);

// True for an IPv4 or IPv6 address, with a prefix length or without.
bool IsAddressWithPrefix(std::string_view text);

// True for an IPv6 address in one of the forms of RFC 4291, section 2.2, without a zone.
bool IsIpv6(std::string_view text);

// True for a dotted quad.
bool IsIpv4(std::string_view text);

// True for a name of letters, digits, hyphens and underscores in labels of up to 63, joined by
// dots, whose last label is no number.
bool IsHostName(std::string_view text);

}  // namespace veltrane
