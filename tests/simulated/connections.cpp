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

void Connections::AddEstablished(std::uint16_t local_port, const std::string& remote_address,
                                 const std::string& local_address) {
  constexpr std::uint32_t kGarbage = 0xBEEF0000;
  AddRow({kTcpEstablished, kGarbage | htons(local_port), Ip(remote_address)}, local_address);
}

void Connections::AddRow(const TcpConnection& row, const std::string& local_address) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  ipv4_rows_.push_back({row, Address(local_address)});
}

void Connections::AddIpv6(std::uint32_t state, std::uint16_t local_port,
                          const std::string& remote_address, const std::string& local_address,
                          std::uint32_t scope_id) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  ipv6_rows_.push_back({state,
                        {.local = Unmapped(Address(local_address)),
                         .local_port = local_port,
                         .remote = Unmapped(Address(remote_address)),
                         .scope_id = scope_id}});
}

void Connections::AddEstablishedIpv6(std::uint16_t local_port, const std::string& remote_address,
                                     const std::string& local_address, std::uint32_t scope_id) {
  AddIpv6(kTcpEstablished, local_port, remote_address, local_address, scope_id);
}

void Connections::Clear() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  ipv4_rows_.clear();
  ipv6_rows_.clear();
}

std::vector<Connections::Ipv4Row> Connections::Ipv4Rows() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return ipv4_rows_;
}

std::vector<TcpConnection> Connections::Rows() const {
  std::vector<TcpConnection> rows;
  for (const auto& [row, local] : Ipv4Rows()) {
    if (row.state != kListening) rows.push_back(row);
  }
  return rows;
}

std::vector<IpConnection> Connections::Established(IpFamily family) const {
  std::vector<IpConnection> connections;
  if (family == IpFamily::kIpv4) {
    for (const auto& [row, local] : Ipv4Rows()) {
      if (row.state != kTcpEstablished) continue;
      connections.push_back({.local = local,
                             .local_port = ntohs(static_cast<std::uint16_t>(row.local_port)),
                             .remote = Address(IpText(row.remote_address))});
    }
    return connections;
  }
  const std::lock_guard<std::mutex> lock(core_.mutex);
  for (const auto& [state, connection] : ipv6_rows_) {
    if (state == kTcpEstablished) connections.push_back(connection);
  }
  return connections;
}

}  // namespace simulated

std::optional<std::vector<TcpConnection>> ReadTcpConnections() {
  simulated::Machine& machine = simulated::Machine::Current();
  const auto failure = machine.calls.Begin("ReadTcpConnections");
  if (failure) return simulated::FailedList(machine.connections.Rows(), *failure);
  return machine.connections.Rows();
}

}  // namespace veltrane
