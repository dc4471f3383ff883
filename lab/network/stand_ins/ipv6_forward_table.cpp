#include "ipv6_forward_table.h"

#include <cstddef>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace lab {
namespace {

bool ParseIpv6(const std::string& text, SOCKADDR_INET& address) {
  address = {};
  address.Ipv6.sin6_family = AF_INET6;
  return inet_pton(AF_INET6, text.c_str(), &address.Ipv6.sin6_addr) == 1;
}

// The answer is "routes", then five words a route: destination, prefix length, next hop, interface
// index, metric.
std::optional<std::vector<MIB_IPFORWARD_ROW2>> AskForRows() {
  std::istringstream answer(Agent().Ask("ipv6-routes"));
  std::string dest;
  if (!(answer >> dest) || dest != "routes") return std::nullopt;
  std::vector<MIB_IPFORWARD_ROW2> rows;
  std::string next_hop;
  unsigned length = 0;
  while (answer >> dest) {
    MIB_IPFORWARD_ROW2 row{};
    answer >> length >> next_hop >> row.InterfaceIndex >> row.Metric;
    if (!answer || !ParseIpv6(dest, row.DestinationPrefix.Prefix) ||
        !ParseIpv6(next_hop, row.NextHop)) {
      return std::nullopt;
    }
    row.DestinationPrefix.PrefixLength = static_cast<UCHAR>(length);
    rows.push_back(row);
  }
  return rows;
}

}  // namespace

DWORD MakeIpv6ForwardTable(MIB_IPFORWARD_TABLE2** table) {
  const auto rows = AskForRows();
  if (!rows) return ERROR_NOT_SUPPORTED;
  const std::size_t size = sizeof(MIB_IPFORWARD_TABLE2) + rows->size() * sizeof(MIB_IPFORWARD_ROW2);
  auto* copy = static_cast<MIB_IPFORWARD_TABLE2*>(HeapAlloc(GetProcessHeap(), 0, size));
  if (copy == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
  copy->NumEntries = static_cast<ULONG>(rows->size());
  for (std::size_t i = 0; i < rows->size(); ++i) copy->Table[i] = (*rows)[i];
  *table = copy;
  return NO_ERROR;
}

}  // namespace lab
