// ReadEstablishedConnections of platform/ip_network.h.

#include <windows.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <algorithm>
#include <cstddef>

#include "platform/ip_network.h"
#include "platform/windows/ip_address.h"
#include "platform/windows/sized_fetch.h"
#include "platform/windows/table_rows.h"

namespace veltrane {
namespace {

static_assert(sizeof(MIB_TCPROW_OWNER_PID) == 24);
static_assert(sizeof(MIB_TCP6ROW_OWNER_PID) == 56);
static_assert(offsetof(MIB_TCPTABLE_OWNER_PID, table) == 4);
static_assert(offsetof(MIB_TCP6TABLE_OWNER_PID, table) == 4);

// A port is in network byte order in the lower half; the upper half is undefined.
std::uint16_t PlainPort(DWORD port) { return ntohs(static_cast<u_short>(port)); }

// Documented in network byte order, but found in that of the host. Either way an interface index,
// which is below 65536, is the smaller of the two numbers.
std::uint32_t InterfaceOfScope(DWORD scope_id) {
  return std::min<std::uint32_t>(scope_id, ntohl(scope_id));
}

IpAddress Ipv4From(DWORD address) {
  IN_ADDR ipv4{};
  ipv4.s_addr = address;
  return AddressFrom(ipv4);
}

IpAddress UnmappedFrom(const UCHAR (&bytes)[16]) {
  IN6_ADDR ipv6{};
  std::copy(std::begin(bytes), std::end(bytes), std::begin(ipv6.u.Byte));
  if (!IN6_IS_ADDR_V4MAPPED(&ipv6)) return AddressFrom(ipv6);
  IN_ADDR ipv4{};
  std::memcpy(&ipv4, bytes + 12, sizeof(ipv4));
  return AddressFrom(ipv4);
}

IpConnection ConnectionFrom(const MIB_TCPROW_OWNER_PID& row) {
  return {.local = Ipv4From(row.dwLocalAddr),
          .local_port = PlainPort(row.dwLocalPort),
          .remote = Ipv4From(row.dwRemoteAddr)};
}

IpConnection ConnectionFrom(const MIB_TCP6ROW_OWNER_PID& row) {
  IN6_ADDR remote{};
  std::copy(std::begin(row.ucRemoteAddr), std::end(row.ucRemoteAddr), std::begin(remote.u.Byte));
  return {.local = UnmappedFrom(row.ucLocalAddr),
          .local_port = PlainPort(row.dwLocalPort),
          .remote = UnmappedFrom(row.ucRemoteAddr),
          .scope_id = IN6_IS_ADDR_LINKLOCAL(&remote) ? InterfaceOfScope(row.dwRemoteScopeId) : 0};
}

template <typename Table>
std::optional<std::vector<IpConnection>> Read(ULONG family) {
  const auto buffer = FetchGrowing(ERROR_INSUFFICIENT_BUFFER, [family](void* memory, ULONG* size) {
    return GetExtendedTcpTable(memory, size, FALSE, family, TCP_TABLE_OWNER_PID_CONNECTIONS, 0);
  });
  if (!buffer) return std::nullopt;
  const auto rows = RowsOf<Table>(*buffer);
  if (!rows) return std::nullopt;
  std::vector<IpConnection> connections;
  for (const auto& row : *rows) {
    if (row.dwState == MIB_TCP_STATE_ESTAB) connections.push_back(ConnectionFrom(row));
  }
  return connections;
}

}  // namespace

std::optional<std::vector<IpConnection>> ReadEstablishedConnections(IpFamily family) {
  return family == IpFamily::kIpv4 ? Read<MIB_TCPTABLE_OWNER_PID>(AF_INET)
                                   : Read<MIB_TCP6TABLE_OWNER_PID>(AF_INET6);
}

}  // namespace veltrane
