#pragma once

// Addresses of Windows as those of platform/ip_network.h.

#include <windows.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstring>

#include "platform/ip_network.h"

namespace veltrane {

static_assert(sizeof(IN_ADDR) == 4);
static_assert(sizeof(IN6_ADDR) == 16);

inline IpAddress AddressFrom(const IN_ADDR& ipv4) {
  IpAddress address;
  std::memcpy(address.bytes.data(), &ipv4, sizeof(ipv4));
  return address;
}

inline IpAddress AddressFrom(const IN6_ADDR& ipv6) {
  IpAddress address{.family = IpFamily::kIpv6};
  std::memcpy(address.bytes.data(), &ipv6, sizeof(ipv6));
  return address;
}

}  // namespace veltrane
