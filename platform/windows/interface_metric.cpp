#include "platform/interface_metric.h"

#include <windows.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

namespace veltrane {

std::optional<std::uint32_t> ReadInterfaceMetric(std::uint32_t interface_index) {
  // Not every system that has the rest of IP Helper exports this function, and the client must
  // start there too.
  using GetEntry = DWORD(WINAPI*)(MIB_IPINTERFACE_ROW*);
  const HMODULE module = GetModuleHandleW(L"iphlpapi.dll");
  if (module == nullptr) return std::nullopt;
  const auto get_entry = reinterpret_cast<GetEntry>(
      reinterpret_cast<void (*)()>(GetProcAddress(module, "GetIpInterfaceEntry")));
  if (get_entry == nullptr) return std::nullopt;
  MIB_IPINTERFACE_ROW row{};
  row.Family = AF_INET;
  row.InterfaceIndex = interface_index;
  if (get_entry(&row) != NO_ERROR) return std::nullopt;
  return row.Metric;
}

}  // namespace veltrane
