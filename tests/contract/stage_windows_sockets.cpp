// The stage over Windows: connections.

#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <cstring>

#include "tests/contract/stage_windows.h"

namespace veltrane::contract {
namespace {

// Where a socket is: an address of either family and a port.
struct Place {
  sockaddr_storage bytes{};
  int size = sizeof(sockaddr_storage);

  int Family() const { return bytes.ss_family; }
  sockaddr* Sockaddr() { return reinterpret_cast<sockaddr*>(&bytes); }
  const sockaddr* Sockaddr() const { return reinterpret_cast<const sockaddr*>(&bytes); }

  // The port is at the same offset in both families.
  std::uint16_t Port() const {
    return ntohs(reinterpret_cast<const sockaddr_in*>(&bytes)->sin_port);
  }
};

Place Ipv4Place(const char* address, std::uint16_t port = 0) {
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_port = htons(port);
  inet_pton(AF_INET, address, &place.sin_addr);
  Place result{.size = sizeof(place)};
  std::memcpy(&result.bytes, &place, sizeof(place));
  return result;
}

Place Ipv6Place(const IN6_ADDR& address, ULONG scope_id = 0) {
  sockaddr_in6 place{};
  place.sin6_family = AF_INET6;
  place.sin6_addr = address;
  place.sin6_scope_id = scope_id;
  Place result{.size = sizeof(place)};
  std::memcpy(&result.bytes, &place, sizeof(place));
  return result;
}

class Socket {
 public:
  Socket(Stage::State& state, SOCKET socket) : socket_(socket) {
    if (socket == INVALID_SOCKET) throw std::runtime_error("there is no socket");
    state.undo.push_back([socket] { closesocket(socket); });
  }

  Socket(Stage::State& state, int family) : Socket(state, Open(family)) {}

  SOCKET get() const { return socket_; }

  bool Bind(const Place& place) { return bind(socket_, place.Sockaddr(), place.size) == 0; }

  Place Whereabouts() const {
    Place place;
    EXPECT_EQ(getsockname(socket_, place.Sockaddr(), &place.size), 0);
    return place;
  }

  std::uint16_t Port() const { return Whereabouts().Port(); }

 private:
  static SOCKET Open(int family) {
    static const int started = [] {
      WSADATA data{};
      return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    EXPECT_EQ(started, 0);
    return socket(family, SOCK_STREAM, 0);
  }

  SOCKET socket_;
};

// nullopt: this machine does not have the address.
std::optional<Socket> MakeListener(Stage::State& state, const Place& place) {
  Socket listener(state, place.Family());
  const DWORD ipv6_only = FALSE;
  if (place.Family() == AF_INET6) {
    EXPECT_EQ(setsockopt(listener.get(), IPPROTO_IPV6, IPV6_V6ONLY,
                         reinterpret_cast<const char*>(&ipv6_only), sizeof(ipv6_only)),
              0);
  }
  if (!listener.Bind(place)) return std::nullopt;
  EXPECT_EQ(listen(listener.get(), 1), 0);
  return listener;
}

struct Pair {
  Loopback ports;
  SOCKET client = INVALID_SOCKET;
};

Pair ConnectTo(Stage::State& state, const Socket& listener, const Place& server,
               const Place& client_place) {
  Socket client(state, client_place.Family());
  EXPECT_TRUE(client.Bind(client_place));
  EXPECT_EQ(connect(client.get(), server.Sockaddr(), server.size), 0);
  const Socket accepted(state, accept(listener.get(), nullptr, nullptr));
  return {{listener.Port(), client.Port()}, client.get()};
}

Pair ConnectIpv4(Stage::State& state) {
  const Socket listener = MakeListener(state, Ipv4Place("127.0.0.1")).value();
  return ConnectTo(state, listener, listener.Whereabouts(), Ipv4Place("127.0.0.2"));
}

std::optional<Pair> ConnectIpv6To(Stage::State& state, const Place& place) {
  const std::optional<Socket> listener = MakeListener(state, place);
  if (!listener) return std::nullopt;
  return ConnectTo(state, *listener, listener->Whereabouts(), place);
}

void HangUp(SOCKET client) { EXPECT_EQ(shutdown(client, SD_SEND), 0); }

}  // namespace

Loopback Stage::Connect() { return ConnectIpv4(*state_).ports; }

std::uint16_t Stage::Listen() {
  return MakeListener(*state_, Ipv4Place("127.0.0.1")).value().Port();
}

Loopback Stage::ConnectAndHangUp() {
  const Pair pair = ConnectIpv4(*state_);
  HangUp(pair.client);
  return pair.ports;
}

std::optional<Loopback> Stage::ConnectIpv6() {
  const auto pair = ConnectIpv6To(*state_, Ipv6Place(in6addr_loopback));
  return pair ? std::optional(pair->ports) : std::nullopt;
}

std::optional<Loopback> Stage::ConnectIpv6AndHangUp() {
  const auto pair = ConnectIpv6To(*state_, Ipv6Place(in6addr_loopback));
  if (!pair) return std::nullopt;
  HangUp(pair->client);
  return pair->ports;
}

std::optional<Loopback> Stage::ConnectToBothFamilies() {
  const std::optional<Socket> listener = MakeListener(*state_, Ipv6Place(in6addr_any));
  if (!listener) return std::nullopt;
  const Place server = Ipv4Place("127.0.0.1", listener->Port());
  return ConnectTo(*state_, *listener, server, Ipv4Place("127.0.0.2")).ports;
}

std::optional<LinkLocalLoopback> Stage::ConnectLinkLocal() {
  ULONG size = 64 * 1024;
  std::vector<unsigned char> buffer(size);
  auto* adapter = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data());
  EXPECT_EQ(GetAdaptersAddresses(AF_INET6, GAA_FLAG_SKIP_DNS_SERVER, nullptr, adapter, &size),
            NO_ERROR);
  for (; adapter != nullptr; adapter = adapter->Next) {
    const auto* unicast = adapter->FirstUnicastAddress;
    for (; unicast != nullptr; unicast = unicast->Next) {
      const auto* own = reinterpret_cast<const sockaddr_in6*>(unicast->Address.lpSockaddr);
      if (!IN6_IS_ADDR_LINKLOCAL(&own->sin6_addr)) continue;
      const std::uint32_t index = own->sin6_scope_id;
      const auto pair = ConnectIpv6To(*state_, Ipv6Place(own->sin6_addr, index));
      if (!pair) continue;
      LinkLocalLoopback loopback{.ports = pair->ports, .address = {}, .interface_index = index};
      loopback.address.family = IpFamily::kIpv6;
      std::memcpy(loopback.address.bytes.data(), &own->sin6_addr, sizeof(own->sin6_addr));
      return loopback;
    }
  }
  return std::nullopt;
}

}  // namespace veltrane::contract
