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

// What a comma-separated list of networks has.
struct NetworkList {
  std::vector<std::string> networks;
  std::vector<std::string> hosts;  // the addresses in front of the lengths
  bool complete = true;            // false when an item is not a network, and left out
};

// Reads a list of networks. An IPv4-mapped address counts as none, for nobody knows who takes it
// for which family.
NetworkList Networks(const std::string& list);

}  // namespace veltrane::naive
