#pragma once

// A second reading of ADMIN_BYPASS_IPS, from the rules of docs/operations.md and docs/protocol.md.

#include <string>
#include <vector>

namespace veltrane::naive {

// The tokens between commas, semicolons, spaces, tabs and line ends.
std::vector<std::string> Tokens(const std::string& text);

// Whether a token is an IPv4 address that a host route may pin: neither private nor loopback nor
// link-local nor 0.0.0.0.
bool IsPublicAddress(const std::string& token);

// The texts as an array of JSON, in which double quotes and backslashes alone are escaped.
std::string ArrayOf(const std::vector<std::string>& texts);

}  // namespace veltrane::naive
