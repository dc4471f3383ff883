#pragma once

// The IP Helper functions that not every system with the rest of IP Helper exports. They are found
// at run time, because the client must start there too.

#include <windows.h>
#include <winsock2.h>
#include <ws2tcpip.h>  // netioapi.h declares its functions only after it

#include <iphlpapi.h>

#include <cstdint>
#include <optional>

namespace veltrane {

// Finds a function of this name and type; null when the system lacks it.
//
//   const auto read = FindIpHelper<decltype(GetIpForwardTable2)>("GetIpForwardTable2");
template <typename Function>
Function* FindIpHelper(const char* name) {
  const HMODULE library = GetModuleHandleW(L"iphlpapi.dll");
  if (library == nullptr) return nullptr;
  return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(GetProcAddress(library, name)));
}

// Returns the metric that an interface adds to that of its routes of a family
// (GetIpInterfaceEntry).
inline std::optional<std::uint32_t> FindInterfaceMetric(ADDRESS_FAMILY family,
                                                        std::uint32_t interface_index) {
  const auto get_entry = FindIpHelper<decltype(GetIpInterfaceEntry)>("GetIpInterfaceEntry");
  if (get_entry == nullptr) return std::nullopt;
  MIB_IPINTERFACE_ROW row{};
  row.Family = family;
  row.InterfaceIndex = interface_index;
  if (get_entry(&row) != NO_ERROR) return std::nullopt;
  return row.Metric;
}

}  // namespace veltrane
