#include "platform/routing.h"

#include <windows.h>
#include <winsock2.h>
#include <ws2tcpip.h>  // netioapi.h declares GetIfEntry2 only after it

#include <iphlpapi.h>

#include <bit>
#include <cstddef>

#include "platform/windows/ip_address.h"
#include "platform/windows/sized_fetch.h"
#include "platform/windows/table_rows.h"

namespace veltrane {
namespace {

static_assert(kRouteTypeInvalid == MIB_IPROUTE_TYPE_INVALID);
static_assert(kRouteTypeIndirect == MIB_IPROUTE_TYPE_INDIRECT);
static_assert(kRouteProtoManagement == MIB_IPPROTO_NETMGMT);
static_assert(kRouteProtoIcmp == MIB_IPPROTO_ICMP);
static_assert(kErrorObjectAlreadyExists == ERROR_OBJECT_ALREADY_EXISTS);
static_assert(sizeof(ForwardRow) == sizeof(MIB_IPFORWARDROW));
static_assert(offsetof(ForwardRow, dest) == offsetof(MIB_IPFORWARDROW, dwForwardDest));
static_assert(offsetof(ForwardRow, mask) == offsetof(MIB_IPFORWARDROW, dwForwardMask));
static_assert(offsetof(ForwardRow, policy) == offsetof(MIB_IPFORWARDROW, dwForwardPolicy));
static_assert(offsetof(ForwardRow, next_hop) == offsetof(MIB_IPFORWARDROW, dwForwardNextHop));
static_assert(offsetof(ForwardRow, interface_index) ==
              offsetof(MIB_IPFORWARDROW, dwForwardIfIndex));
static_assert(offsetof(ForwardRow, type) == offsetof(MIB_IPFORWARDROW, dwForwardType));
static_assert(offsetof(ForwardRow, proto) == offsetof(MIB_IPFORWARDROW, dwForwardProto));
static_assert(offsetof(ForwardRow, age) == offsetof(MIB_IPFORWARDROW, dwForwardAge));
static_assert(offsetof(ForwardRow, next_hop_as) == offsetof(MIB_IPFORWARDROW, dwForwardNextHopAS));
static_assert(offsetof(ForwardRow, metric1) == offsetof(MIB_IPFORWARDROW, dwForwardMetric1));
static_assert(offsetof(ForwardRow, metric2) == offsetof(MIB_IPFORWARDROW, dwForwardMetric2));
static_assert(offsetof(ForwardRow, metric3) == offsetof(MIB_IPFORWARDROW, dwForwardMetric3));
static_assert(offsetof(ForwardRow, metric4) == offsetof(MIB_IPFORWARDROW, dwForwardMetric4));
static_assert(offsetof(ForwardRow, metric5) == offsetof(MIB_IPFORWARDROW, dwForwardMetric5));

}  // namespace

std::optional<std::vector<ForwardRow>> ReadForwardTable() {
  const auto buffer = FetchSized(ERROR_INSUFFICIENT_BUFFER, [](void* table, ULONG* size) {
    return GetIpForwardTable(static_cast<MIB_IPFORWARDTABLE*>(table), size, TRUE);
  });
  if (!buffer) return std::nullopt;
  const auto table = RowsOf<MIB_IPFORWARDTABLE>(*buffer);
  if (!table) return std::nullopt;
  std::vector<ForwardRow> rows;
  rows.reserve(table->size());
  for (const MIB_IPFORWARDROW& row : *table) rows.push_back(std::bit_cast<ForwardRow>(row));
  return rows;
}

std::uint32_t CreateForwardRow(const ForwardRow& row) {
  auto entry = std::bit_cast<MIB_IPFORWARDROW>(row);
  return CreateIpForwardEntry(&entry);
}

std::uint32_t DeleteForwardRow(const ForwardRow& row) {
  auto entry = std::bit_cast<MIB_IPFORWARDROW>(row);
  return DeleteIpForwardEntry(&entry);
}

Result<BestRoute> FindBestRoute(std::uint32_t dest) {
  MIB_IPFORWARDROW row{};
  const DWORD status = GetBestRoute(dest, 0, &row);
  if (status != NO_ERROR) return Result<BestRoute>::Failure(status);
  return BestRoute{.next_hop = row.dwForwardNextHop, .interface_index = row.dwForwardIfIndex};
}

std::optional<InterfaceNames> ReadInterfaceNames(std::uint32_t interface_index) {
  MIB_IF_ROW2 row{};
  row.InterfaceIndex = interface_index;
  if (GetIfEntry2(&row) != NO_ERROR) return std::nullopt;
  return InterfaceNames{row.Alias, row.Description};
}

std::optional<std::vector<std::uint32_t>> ReadAdapterAddresses() {
  const auto buffer = FetchSized(ERROR_BUFFER_OVERFLOW, [](void* adapters, ULONG* size) {
    return GetAdaptersAddresses(AF_INET, GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST, nullptr,
                                static_cast<IP_ADAPTER_ADDRESSES*>(adapters), size);
  });
  if (!buffer) return std::nullopt;
  std::vector<std::uint32_t> addresses;
  const auto* adapter = reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(buffer->data());
  for (; adapter != nullptr; adapter = adapter->Next) {
    const auto* unicast = adapter->FirstUnicastAddress;
    for (; unicast != nullptr; unicast = unicast->Next) {
      const auto* ipv4 = AsSocketAddress<sockaddr_in>(unicast->Address, AF_INET);
      if (ipv4 != nullptr) addresses.push_back(ipv4->sin_addr.s_addr);
    }
  }
  return addresses;
}

}  // namespace veltrane
