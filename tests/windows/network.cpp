#include "tests/windows/network.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>
#include <netioapi.h>

#include <filesystem>
#include <vector>

#include <gtest/gtest.h>

namespace veltrane::windows_tests {
namespace {

std::vector<MIB_IPFORWARD_ROW2> ReadDefaultRoutes() {
  MIB_IPFORWARD_TABLE2* table = nullptr;
  if (GetIpForwardTable2(AF_INET, &table) != NO_ERROR) return {};
  std::vector<MIB_IPFORWARD_ROW2> routes;
  for (ULONG i = 0; i < table->NumEntries; ++i) {
    const MIB_IPFORWARD_ROW2& row = table->Table[i];
    if (row.DestinationPrefix.PrefixLength == 0) routes.push_back(row);
  }
  FreeMibTable(table);
  return routes;
}

std::string DottedQuad(const SOCKADDR_INET& address) {
  char text[INET_ADDRSTRLEN] = {};
  inet_ntop(AF_INET, &address.Ipv4.sin_addr, text, sizeof(text));
  return text;
}

// The name that the user sees, in UTF-8.
std::string InterfaceName(NET_IFINDEX index) {
  ULONG size = 64 * 1024;
  std::vector<char> buffer(size);
  auto* adapter = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data());
  if (GetAdaptersAddresses(AF_INET, 0, nullptr, adapter, &size) != NO_ERROR) return "";
  while (adapter != nullptr && adapter->IfIndex != index) adapter = adapter->Next;
  if (adapter == nullptr) return "";
  const std::u8string name = std::filesystem::path(adapter->FriendlyName).u8string();
  return {name.begin(), name.end()};
}

}  // namespace

std::string DefaultRoutes() {
  std::string text;
  for (const MIB_IPFORWARD_ROW2& route : ReadDefaultRoutes()) {
    if (!text.empty()) text += ';';
    text += "0.0.0.0/0->" + DottedQuad(route.NextHop) + "@if" +
            std::to_string(route.InterfaceIndex) + ":" + InterfaceName(route.InterfaceIndex) +
            ":metric=" + std::to_string(route.Metric);
  }
  if (text.empty()) ADD_FAILURE() << "this test needs a machine with a default route";
  return text;
}

Gateway DefaultGateway() {
  for (const MIB_IPFORWARD_ROW2& route : ReadDefaultRoutes()) {
    if (route.NextHop.Ipv4.sin_addr.s_addr == 0) continue;
    return Gateway{DottedQuad(route.NextHop), std::to_string(route.InterfaceIndex)};
  }
  ADD_FAILURE() << "this test needs a machine with a default gateway";
  return {};
}

}  // namespace veltrane::windows_tests
