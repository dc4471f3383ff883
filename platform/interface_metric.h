#pragma once

// The metric of a network interface.
// Threads: any.
// Windows: "IP Helper".

#include <cstdint>
#include <optional>

namespace veltrane {

// Returns the metric that Windows adds to that of every IPv4 route through this interface
// (GetIpInterfaceEntry). nullopt when the interface does not exist or the system lacks the call.
std::optional<std::uint32_t> ReadInterfaceMetric(std::uint32_t interface_index);

}  // namespace veltrane
