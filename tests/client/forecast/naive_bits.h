#pragma once

// Addresses and networks as strings of their bits behind "4:" or "6:", so that a network contains
// every address that begins with it.

#include <optional>
#include <string>
#include <vector>

#include "platform/ip_network.h"

namespace veltrane::naive {

// "4:11001011...", "6:0010..."
std::string Bits(const IpAddress& address);

// The same for an address as text; nullopt for any other text.
std::optional<std::string> BitsOfText(const std::string& text);

bool StartsWith(const std::string& text, const std::string& beginning);
bool IsAllZeros(const std::string& bits);

// The networks of a comma-separated list; nullopt when one of them is not a network.
std::optional<std::vector<std::string>> Networks(const std::string& list);

}  // namespace veltrane::naive
