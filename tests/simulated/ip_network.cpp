// The parts of the routes that know both families, and the calls of platform/ip_network.h.

#include "platform/ip_network.h"

#include <cstring>

#include "tests/simulated/client_side.h"
#include "tests/simulated/machine.h"

namespace veltrane {
namespace simulated {

IpRoute MakeIpv6Route(const std::string& destination, const std::string& next_hop,
                      std::uint32_t interface_index, std::uint32_t metric) {
  const std::size_t slash = destination.find('/');
  if (slash == std::string::npos) Die("no destination with a prefix length: " + destination);
  const int length = std::stoi(destination.substr(slash + 1));
  if (length < 0 || length > 128) Die("no prefix length: " + destination);
  return {.destination = Address(destination.substr(0, slash)),
          .prefix_length = static_cast<std::uint32_t>(length),
          .next_hop = Address(next_hop),
          .interface_index = interface_index,
          .metric = metric};
}

void Routes::AddIpv6(const std::string& destination, const std::string& next_hop,
                     std::uint32_t interface_index, std::uint32_t metric) {
  const IpRoute route = MakeIpv6Route(destination, next_hop, interface_index, metric);
  const std::lock_guard<std::mutex> lock(core_.mutex);
  ipv6_routes_.push_back(route);
}

void Routes::ClearIpv6() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  ipv6_routes_.clear();
}

void Routes::SetHardware(std::uint32_t index, bool is_hardware) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto found = interfaces_.find(index);
  if (found == interfaces_.end()) Die("there is no interface " + std::to_string(index));
  found->second.is_hardware = is_hardware;
}

void Routes::AddAdapterAddress(const std::string& address, std::uint32_t interface_index) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  adapter_addresses_.push_back({Address(address), interface_index});
}

std::vector<std::uint32_t> Routes::AdapterAddresses() const {
  std::vector<std::uint32_t> addresses;
  for (const OwnAddress& own : OwnAddresses()) {
    if (own.address.family != IpFamily::kIpv4) continue;
    addresses.emplace_back();
    std::memcpy(&addresses.back(), own.address.bytes.data(), sizeof(std::uint32_t));
  }
  return addresses;
}

std::vector<IpRoute> Routes::ReadIpv6() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return ipv6_routes_;
}

std::vector<OwnAddress> Routes::OwnAddresses() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return adapter_addresses_;
}

std::optional<bool> Routes::IsHardware(std::uint32_t index) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto found = interfaces_.find(index);
  if (found == interfaces_.end()) return std::nullopt;
  return found->second.is_hardware;
}

}  // namespace simulated

using simulated::Machine;

std::optional<std::vector<std::uint32_t>> ReadAdapterAddresses() {
  Machine& machine = Machine::Current();
  const auto failure = machine.calls.Begin("ReadAdapterAddresses");
  if (failure) return simulated::FailedList(machine.routes.AdapterAddresses(), *failure);
  return machine.routes.AdapterAddresses();
}

std::optional<std::vector<IpRoute>> ReadIpv6Routes() {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("ReadIpv6Routes")) return std::nullopt;
  return machine.routes.ReadIpv6();
}

std::optional<std::vector<IpConnection>> ReadEstablishedConnections(IpFamily family) {
  Machine& machine = Machine::Current();
  const std::string name = family == IpFamily::kIpv4 ? "IPv4" : "IPv6";
  if (machine.calls.Begin("ReadEstablishedConnections", name)) return std::nullopt;
  return machine.connections.Established(family);
}

std::optional<std::vector<OwnAddress>> ReadOwnAddresses() {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("ReadOwnAddresses")) return std::nullopt;
  return machine.routes.OwnAddresses();
}

std::optional<std::uint32_t> ReadIpv6InterfaceMetric(std::uint32_t interface_index) {
  const std::string index = std::to_string(interface_index);
  if (Machine::Current().calls.Begin("ReadIpv6InterfaceMetric", index)) return std::nullopt;
  const auto& metrics = simulated::ClientSide::Current().ipv6_interface_metrics;
  const auto metric = metrics.find(interface_index);
  if (metric == metrics.end()) return std::nullopt;
  return metric->second;
}

std::optional<bool> IsHardwareInterface(std::uint32_t interface_index) {
  Machine& machine = Machine::Current();
  const std::string index = std::to_string(interface_index);
  if (machine.calls.Begin("IsHardwareInterface", index)) return std::nullopt;
  return machine.routes.IsHardware(interface_index);
}

}  // namespace veltrane
