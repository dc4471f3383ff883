// The stage over Windows: addresses and routes.

#include <ws2tcpip.h>

#include <iphlpapi.h>
#include <netioapi.h>

#include <cstring>

#include "tests/contract/stage_windows.h"

namespace veltrane::contract {
namespace {

// The default route that is taken, of those with a gateway.
std::optional<MIB_IPFORWARD_ROW2> FindDefaultRoute() {
  MIB_IPFORWARD_TABLE2* table = nullptr;
  if (GetIpForwardTable2(AF_INET, &table) != NO_ERROR) return std::nullopt;
  std::optional<MIB_IPFORWARD_ROW2> best;
  for (ULONG i = 0; i < table->NumEntries; ++i) {
    const MIB_IPFORWARD_ROW2& row = table->Table[i];
    if (row.DestinationPrefix.PrefixLength != 0 || row.NextHop.Ipv4.sin_addr.s_addr == 0) continue;
    if (!best || row.Metric < best->Metric) best = row;
  }
  FreeMibTable(table);
  return best;
}

std::uint32_t FindAddress(std::uint32_t interface_index) {
  ULONG size = 0;
  GetIpAddrTable(nullptr, &size, FALSE);
  std::vector<unsigned char> buffer(size);
  auto* table = reinterpret_cast<MIB_IPADDRTABLE*>(buffer.data());
  EXPECT_EQ(GetIpAddrTable(table, &size, FALSE), NO_ERROR);
  for (DWORD i = 0; i < table->dwNumEntries; ++i) {
    if (table->table[i].dwIndex == interface_index) return table->table[i].dwAddr;
  }
  ADD_FAILURE() << "the interface of the default route has no address";
  return 0;
}

void FillInNames(Network& network) {
  ULONG size = 64 * 1024;
  std::vector<unsigned char> buffer(size);
  auto* adapter = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data());
  EXPECT_EQ(GetAdaptersAddresses(AF_INET, 0, nullptr, adapter, &size), NO_ERROR);
  while (adapter != nullptr && adapter->IfIndex != network.interface_index) adapter = adapter->Next;
  ASSERT_NE(adapter, nullptr);
  network.alias = adapter->FriendlyName;
  network.description = adapter->Description;
  network.interface_metric = adapter->Ipv4Metric;
}

IpAddress Ipv6From(const SOCKET_ADDRESS& address) {
  const auto* place = reinterpret_cast<const sockaddr_in6*>(address.lpSockaddr);
  IpAddress ipv6{.family = IpFamily::kIpv6};
  std::memcpy(ipv6.bytes.data(), &place->sin6_addr, ipv6.bytes.size());
  return ipv6;
}

}  // namespace

std::optional<Network> Stage::ReadNetwork() {
  const std::optional<MIB_IPFORWARD_ROW2> route = FindDefaultRoute();
  if (!route) return std::nullopt;
  Network network;
  network.gateway = route->NextHop.Ipv4.sin_addr.s_addr;
  network.interface_index = route->InterfaceIndex;
  network.own_address = FindAddress(network.interface_index);
  FillInNames(network);
  return network;
}

std::optional<Ipv6Network> Stage::ReadIpv6Network() {
  ULONG size = 64 * 1024;
  std::vector<unsigned char> buffer(size);
  const auto* adapter = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data());
  EXPECT_EQ(
      GetAdaptersAddresses(AF_INET6, GAA_FLAG_INCLUDE_GATEWAYS | GAA_FLAG_SKIP_DNS_SERVER, nullptr,
                           reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data()), &size),
      NO_ERROR);
  for (; adapter != nullptr; adapter = adapter->Next) {
    if (adapter->FirstGatewayAddress == nullptr || adapter->FirstUnicastAddress == nullptr)
      continue;
    return Ipv6Network{.gateway = Ipv6From(adapter->FirstGatewayAddress->Address),
                       .own_address = Ipv6From(adapter->FirstUnicastAddress->Address),
                       .interface_index = adapter->Ipv6IfIndex,
                       .interface_metric = adapter->Ipv6Metric};
  }
  return std::nullopt;
}

void Stage::RemoveRouteAtEnd(const ForwardRow& row) {
  MIB_IPFORWARDROW entry{};
  static_assert(sizeof(entry) == sizeof(row));
  std::memcpy(&entry, &row, sizeof(entry));
  state_->undo.push_back([entry]() mutable { DeleteIpForwardEntry(&entry); });
}

}  // namespace veltrane::contract
