#include "platform/ip_network.h"

#include "platform/owner.h"
#include "platform/windows/ip_address.h"
#include "platform/windows/ip_helper.h"
#include "platform/windows/sized_fetch.h"

namespace veltrane {
namespace {

static_assert(sizeof(MIB_IPFORWARD_ROW2) == 104);
static_assert(sizeof(MIB_IPINTERFACE_ROW) == 168);
static_assert(sizeof(MIB_IF_ROW2) == 1352);

void FreeTable(void* table) noexcept {
  const auto free_table = FindIpHelper<decltype(FreeMibTable)>("FreeMibTable");
  if (free_table != nullptr) free_table(table);
}

IpRoute RouteFrom(const MIB_IPFORWARD_ROW2& row) {
  return {.destination = AddressFrom(row.DestinationPrefix.Prefix.Ipv6.sin6_addr),
          .prefix_length = row.DestinationPrefix.PrefixLength,
          .next_hop = AddressFrom(row.NextHop.Ipv6.sin6_addr),
          .interface_index = row.InterfaceIndex,
          .metric = row.Metric};
}

}  // namespace

std::optional<std::vector<IpRoute>> ReadIpv6Routes() {
  const auto get_table = FindIpHelper<decltype(GetIpForwardTable2)>("GetIpForwardTable2");
  if (get_table == nullptr) return std::nullopt;
  MIB_IPFORWARD_TABLE2* table = nullptr;
  if (get_table(AF_INET6, &table) != NO_ERROR || table == nullptr) return std::nullopt;
  const Owner<MIB_IPFORWARD_TABLE2, FreeTable> owner(table);
  std::vector<IpRoute> routes;
  routes.reserve(table->NumEntries);
  for (ULONG i = 0; i < table->NumEntries; ++i) routes.push_back(RouteFrom(table->Table[i]));
  return routes;
}

std::optional<std::vector<OwnAddress>> ReadOwnAddresses() {
  const auto buffer = FetchGrowing(ERROR_BUFFER_OVERFLOW, [](void* adapters, ULONG* size) {
    return GetAdaptersAddresses(
        AF_UNSPEC, GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER,
        nullptr, static_cast<IP_ADAPTER_ADDRESSES*>(adapters), size);
  });
  if (!buffer) return std::nullopt;
  std::vector<OwnAddress> addresses;
  const auto* adapter = reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(buffer->data());
  for (; adapter != nullptr; adapter = adapter->Next) {
    const auto* unicast = adapter->FirstUnicastAddress;
    for (; unicast != nullptr; unicast = unicast->Next) {
      if (const auto* ipv4 = AsSocketAddress<sockaddr_in>(unicast->Address, AF_INET)) {
        addresses.push_back({AddressFrom(ipv4->sin_addr), adapter->IfIndex});
      } else if (const auto* ipv6 = AsSocketAddress<sockaddr_in6>(unicast->Address, AF_INET6)) {
        addresses.push_back({AddressFrom(ipv6->sin6_addr), adapter->Ipv6IfIndex});
      }
    }
  }
  return addresses;
}

std::optional<std::uint32_t> ReadIpv6InterfaceMetric(std::uint32_t interface_index) {
  return FindInterfaceMetric(AF_INET6, interface_index);
}

std::optional<bool> IsHardwareInterface(std::uint32_t interface_index) {
  MIB_IF_ROW2 row{};
  row.InterfaceIndex = interface_index;
  if (GetIfEntry2(&row) != NO_ERROR) return std::nullopt;
  return row.InterfaceAndOperStatusFlags.HardwareInterface != 0 && row.OperStatus == IfOperStatusUp;
}

}  // namespace veltrane
