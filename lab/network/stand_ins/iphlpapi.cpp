// Stands in for iphlpapi.dll, with the functions that the service uses. Every call can be made to
// fail. Creating and deleting a route changes the machine's real routing table, which Wine does not
// do; the other calls go to Wine's library, which reads the real network.

// clang-format off
#include "agent.h"
#include <ws2tcpip.h>
#include <iphlpapi.h>
// clang-format on

#include <charconv>
#include <string>

#include "system_library.h"

namespace {

template <typename Function>
Function* Real(const char* name) {
  static const HMODULE library = lab::LoadSystemLibrary(L"iphlpapi.dll");
  return lab::FindFunction<Function>(library, name);
}

std::string DottedQuad(DWORD address) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(&address);
  return std::to_string(bytes[0]) + '.' + std::to_string(bytes[1]) + '.' +
         std::to_string(bytes[2]) + '.' + std::to_string(bytes[3]);
}

DWORD ChangeRoute(const char* verb, const MIB_IPFORWARDROW& row) {
  const std::string answer = lab::Agent().Ask(
      std::string("route ") + verb + ' ' + DottedQuad(row.dwForwardDest) + ' ' +
      DottedQuad(row.dwForwardMask) + ' ' + DottedQuad(row.dwForwardNextHop) + ' ' +
      std::to_string(row.dwForwardIfIndex) + ' ' + std::to_string(row.dwForwardMetric1));
  DWORD status = ERROR_NOT_SUPPORTED;
  std::from_chars(answer.data(), answer.data() + answer.size(), status);
  return status;
}

}  // namespace

extern "C" {

DWORD WINAPI StandInCreateIpForwardEntry(MIB_IPFORWARDROW* row) {
  if (const DWORD status = lab::FaultOf("CreateIpForwardEntry")) return status;
  return ChangeRoute("create", *row);
}

DWORD WINAPI StandInDeleteIpForwardEntry(MIB_IPFORWARDROW* row) {
  if (const DWORD status = lab::FaultOf("DeleteIpForwardEntry")) return status;
  return ChangeRoute("delete", *row);
}

DWORD WINAPI StandInGetIpForwardTable(MIB_IPFORWARDTABLE* table, ULONG* size, BOOL sorted) {
  if (const DWORD status = lab::FaultOf("GetIpForwardTable")) return status;
  return Real<decltype(GetIpForwardTable)>("GetIpForwardTable")(table, size, sorted);
}

DWORD WINAPI StandInGetBestRoute(DWORD dest, DWORD source, MIB_IPFORWARDROW* row) {
  if (const DWORD status = lab::FaultOf("GetBestRoute")) return status;
  return Real<decltype(GetBestRoute)>("GetBestRoute")(dest, source, row);
}

DWORD WINAPI StandInGetIfEntry2(MIB_IF_ROW2* row) {
  if (const DWORD status = lab::FaultOf("GetIfEntry2")) return status;
  return Real<decltype(GetIfEntry2)>("GetIfEntry2")(row);
}

ULONG WINAPI StandInGetAdaptersAddresses(ULONG family, ULONG flags, void* reserved,
                                         IP_ADAPTER_ADDRESSES* adapters, ULONG* size) {
  if (const DWORD status = lab::FaultOf("GetAdaptersAddresses")) return status;
  return Real<decltype(GetAdaptersAddresses)>("GetAdaptersAddresses")(family, flags, reserved,
                                                                      adapters, size);
}

DWORD WINAPI StandInGetExtendedTcpTable(void* table, DWORD* size, BOOL sorted, ULONG family,
                                        TCP_TABLE_CLASS table_class, ULONG reserved) {
  if (const DWORD status = lab::FaultOf("GetExtendedTcpTable")) return status;
  return Real<decltype(GetExtendedTcpTable)>("GetExtendedTcpTable")(table, size, sorted, family,
                                                                    table_class, reserved);
}
}
