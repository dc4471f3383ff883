#include "tests/simulated/connections.h"

#include <arpa/inet.h>

#include "tests/simulated/machine.h"

namespace veltrane {
namespace simulated {
namespace {

constexpr std::uint32_t kListening = 2;  // MIB_TCP_STATE_LISTEN

}  // namespace

void Connections::Add(std::uint32_t state, std::uint16_t local_port,
                      const std::string& remote_address, std::uint16_t garbage) {
  const std::uint32_t upper_half = std::uint32_t{garbage} << 16;
  AddRow({state, upper_half | htons(local_port), Ip(remote_address)});
}

void Connections::AddEstablished(std::uint16_t local_port, const std::string& remote_address) {
  Add(kTcpEstablished, local_port, remote_address);
}

void Connections::AddRow(const TcpConnection& row) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  rows_.push_back(row);
}

void Connections::Clear() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  rows_.clear();
}

std::vector<TcpConnection> Connections::Rows() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  std::vector<TcpConnection> rows = rows_;
  std::erase_if(rows, [](const TcpConnection& row) { return row.state == kListening; });
  return rows;
}

}  // namespace simulated

std::optional<std::vector<TcpConnection>> ReadTcpConnections() {
  simulated::Machine& machine = simulated::Machine::Current();
  if (machine.calls.Begin("ReadTcpConnections")) return std::nullopt;
  return machine.connections.Rows();
}

}  // namespace veltrane
