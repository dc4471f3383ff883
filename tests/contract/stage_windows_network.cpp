// The stage over Windows: connections and routes.

#include <ws2tcpip.h>

#include <iphlpapi.h>
#include <netioapi.h>

#include <cstring>

#include "tests/contract/stage_windows.h"

namespace veltrane::contract {
namespace {

class Socket {
 public:
  explicit Socket(SOCKET socket) : socket_(socket) { EXPECT_NE(socket, INVALID_SOCKET); }

  static Socket Make() {
    static const int started = [] {
      WSADATA data{};
      return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    EXPECT_EQ(started, 0);
    return Socket(socket(AF_INET, SOCK_STREAM, 0));
  }

  SOCKET get() const { return socket_; }

  void Bind(const char* address) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    inet_pton(AF_INET, address, &place.sin_addr);
    EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr*>(&place), sizeof(place)), 0);
  }

  sockaddr_in Place() const {
    sockaddr_in place{};
    int size = sizeof(place);
    EXPECT_EQ(getsockname(socket_, reinterpret_cast<sockaddr*>(&place), &size), 0);
    return place;
  }

  std::uint16_t Port() const { return ntohs(Place().sin_port); }

  void CloseAtEnd(Stage::State& state) {
    state.undo.push_back([socket = socket_] { closesocket(socket); });
  }

 private:
  SOCKET socket_;
};

Socket MakeListener(Stage::State& state) {
  Socket listener = Socket::Make();
  listener.CloseAtEnd(state);
  listener.Bind("127.0.0.1");
  EXPECT_EQ(listen(listener.get(), 1), 0);
  return listener;
}

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

}  // namespace

Loopback Stage::Connect() {
  const Socket listener = MakeListener(*state_);
  Socket client = Socket::Make();
  client.CloseAtEnd(*state_);
  client.Bind("127.0.0.2");
  const sockaddr_in server_place = listener.Place();
  EXPECT_EQ(
      connect(client.get(), reinterpret_cast<const sockaddr*>(&server_place), sizeof(server_place)),
      0);
  Socket(accept(listener.get(), nullptr, nullptr)).CloseAtEnd(*state_);
  return {listener.Port(), client.Port()};
}

std::uint16_t Stage::Listen() { return MakeListener(*state_).Port(); }

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

void Stage::RemoveRouteAtEnd(const ForwardRow& row) {
  MIB_IPFORWARDROW entry{};
  static_assert(sizeof(entry) == sizeof(row));
  std::memcpy(&entry, &row, sizeof(entry));
  state_->undo.push_back([entry]() mutable { DeleteIpForwardEntry(&entry); });
}

}  // namespace veltrane::contract
