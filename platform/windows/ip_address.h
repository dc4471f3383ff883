#pragma once

// Addresses of Windows as those of platform/ip_network.h.

#include <windows.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstddef>
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

// Returns the address as one of this family; null when it is of another, or too short for it.
template <typename SocketAddress>
const SocketAddress* AsSocketAddress(const SOCKET_ADDRESS& address, ADDRESS_FAMILY family) {
  const bool is_whole = address.lpSockaddr != nullptr && address.iSockaddrLength >= 0 &&
                        static_cast<std::size_t>(address.iSockaddrLength) >= sizeof(SocketAddress);
  if (!is_whole || address.lpSockaddr->sa_family != family) return nullptr;
  return reinterpret_cast<const SocketAddress*>(address.lpSockaddr);
}

}  // namespace veltrane
