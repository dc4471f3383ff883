#pragma once

#include <cstdint>
#include <optional>

namespace veltrane {

// The metric that Windows adds to that of every IPv4 route through this interface
// (GetIpInterfaceEntry). nullopt when the interface or the call is not there.
std::optional<std::uint32_t> ReadInterfaceMetric(std::uint32_t interface_index);

}  // namespace veltrane
