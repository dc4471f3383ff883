#include "platform/interface_metric.h"

#include "platform/windows/ip_helper.h"

namespace veltrane {

std::optional<std::uint32_t> ReadInterfaceMetric(std::uint32_t interface_index) {
  return FindInterfaceMetric(AF_INET, interface_index);
}

}  // namespace veltrane
