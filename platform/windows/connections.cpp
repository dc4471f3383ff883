#include "platform/connections.h"

#include <windows.h>
#include <winsock2.h>

#include <iphlpapi.h>

#include "platform/windows/sized_fetch.h"
#include "platform/windows/table_rows.h"

namespace veltrane {

static_assert(kTcpEstablished == MIB_TCP_STATE_ESTAB);

std::optional<std::vector<TcpConnection>> ReadTcpConnections() {
  const auto buffer = FetchSized(ERROR_INSUFFICIENT_BUFFER, [](void* table, ULONG* size) {
    return GetExtendedTcpTable(table, size, FALSE, AF_INET, TCP_TABLE_OWNER_PID_CONNECTIONS, 0);
  });
  if (!buffer) return std::nullopt;
  const auto rows = RowsOf<MIB_TCPTABLE_OWNER_PID>(*buffer);
  if (!rows) return std::nullopt;
  std::vector<TcpConnection> connections;
  connections.reserve(rows->size());
  for (const MIB_TCPROW_OWNER_PID& row : *rows) {
    connections.push_back({row.dwState, row.dwLocalPort, row.dwRemoteAddr});
  }
  return connections;
}

}  // namespace veltrane
