// Stands in for iphlpapi.dll, with the functions that the service and its client use. Every call
// can be made to fail. Creating and deleting a route changes the machine's real routing table,
// which Wine does not do; the other calls go to Wine's library, which reads the real network. Where
// Wine differs from Windows, Windows' answer is given: the metric of a route includes that of its
// interface, a route without a gateway has the next hop 0, there are IPv6 routes, and an adapter is
// a piece of hardware.

// clang-format off
#include "agent.h"
#include <ws2tcpip.h>
#include <iphlpapi.h>
// clang-format on

#include <bit>
#include <charconv>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "ipv6_forward_table.h"
#include "system_library.h"

namespace {

// The interfaces whose alias begins so are pieces of hardware.
constexpr wchar_t kHardwareAlias[] = L"eth";

template <typename Function>
Function* Real(const char* name) {
  static const HMODULE library = lab::LoadSystemLibrary(L"iphlpapi.dll");
  Function* const function = lab::FindFunction<Function>(library, name);
  lab::BeTheOneFoundByName();
  return function;
}

std::string DottedQuad(DWORD address) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(&address);
  return std::to_string(bytes[0]) + '.' + std::to_string(bytes[1]) + '.' +
         std::to_string(bytes[2]) + '.' + std::to_string(bytes[3]);
}

// How the agent wants routes to be reported.
struct View {
  bool on_link_hop_is_zero = true;
  std::map<DWORD, DWORD> metrics;  // of the interfaces, by index
};

View AskForView() {
  View view;
  std::istringstream answer(lab::Agent().Ask("view"));
  std::string word;
  std::string hop;
  answer >> word >> hop >> word;
  view.on_link_hop_is_zero = hop != "wine";
  DWORD index = 0;
  DWORD metric = 0;
  char equals = 0;
  while (answer >> index >> equals >> metric) view.metrics[index] = metric;
  return view;
}

std::vector<MIB_IPFORWARDROW> ReadRows() {
  const auto get_table = Real<decltype(GetIpForwardTable)>("GetIpForwardTable");
  ULONG size = 0;
  get_table(nullptr, &size, FALSE);
  std::vector<char> buffer(size);
  auto* table = reinterpret_cast<MIB_IPFORWARDTABLE*>(buffer.data());
  if (get_table(table, &size, FALSE) != NO_ERROR) return {};
  return {table->table, table->table + table->dwNumEntries};
}

// The machine's own addresses: what Wine gives as the next hop of a route without a gateway.
std::set<DWORD> OwnAddresses() {
  const auto get_table = Real<decltype(GetIpAddrTable)>("GetIpAddrTable");
  ULONG size = 0;
  get_table(nullptr, &size, FALSE);
  std::vector<char> buffer(size);
  auto* table = reinterpret_cast<MIB_IPADDRTABLE*>(buffer.data());
  std::set<DWORD> addresses;
  if (get_table(table, &size, FALSE) != NO_ERROR) return addresses;
  for (DWORD i = 0; i < table->dwNumEntries; ++i) addresses.insert(table->table[i].dwAddr);
  return addresses;
}

void ReportAsWindows(MIB_IPFORWARDROW* rows, DWORD count) {
  const View view = AskForView();
  const std::set<DWORD> own = OwnAddresses();
  for (DWORD i = 0; i < count; ++i) {
    MIB_IPFORWARDROW& row = rows[i];
    const auto metric = view.metrics.find(row.dwForwardIfIndex);
    if (metric != view.metrics.end()) row.dwForwardMetric1 += metric->second;
    if (view.on_link_hop_is_zero && own.contains(row.dwForwardNextHop)) row.dwForwardNextHop = 0;
  }
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
  const DWORD status = Real<decltype(GetIpForwardTable)>("GetIpForwardTable")(table, size, sorted);
  if (status == NO_ERROR) ReportAsWindows(table->table, table->dwNumEntries);
  return status;
}

// The longest prefix, then the lowest metric. Wine 8 takes a prefix whose length is not a multiple
// of eight for a shorter one.
DWORD WINAPI StandInGetBestRoute(DWORD dest, DWORD, MIB_IPFORWARDROW* best) {
  if (const DWORD status = lab::FaultOf("GetBestRoute")) return status;
  std::vector<MIB_IPFORWARDROW> rows = ReadRows();
  ReportAsWindows(rows.data(), static_cast<DWORD>(rows.size()));
  const auto rank = [](const MIB_IPFORWARDROW& row) {
    return std::tuple(32 - std::popcount(row.dwForwardMask), row.dwForwardMetric1);
  };
  bool found = false;
  for (const MIB_IPFORWARDROW& row : rows) {
    if ((dest & row.dwForwardMask) != row.dwForwardDest) continue;
    if (!found || rank(row) < rank(*best)) *best = row;
    found = true;
  }
  return found ? NO_ERROR : ERROR_HOST_UNREACHABLE;
}

// Wine 8 does not have it. Only the metric is filled in, the same for both families.
DWORD WINAPI StandInGetIpInterfaceEntry(MIB_IPINTERFACE_ROW* row) {
  if (const DWORD status = lab::FaultOf("GetIpInterfaceEntry")) return status;
  const View view = AskForView();
  const auto metric = view.metrics.find(row->InterfaceIndex);
  if (metric == view.metrics.end()) return ERROR_NOT_FOUND;
  row->Metric = metric->second;
  return NO_ERROR;
}

DWORD WINAPI StandInGetIfEntry2(MIB_IF_ROW2* row) {
  if (const DWORD status = lab::FaultOf("GetIfEntry2")) return status;
  const DWORD status = Real<decltype(GetIfEntry2)>("GetIfEntry2")(row);
  if (status == NO_ERROR) {
    row->InterfaceAndOperStatusFlags.HardwareInterface =
        std::wstring_view(row->Alias).starts_with(kHardwareAlias);
  }
  return status;
}

// The IPv6 table is the agent's, because Wine 8 reads no IPv6 routes; Wine's own serves IPv4.
DWORD WINAPI StandInGetIpForwardTable2(ADDRESS_FAMILY family, MIB_IPFORWARD_TABLE2** table) {
  if (const DWORD status = lab::FaultOf("GetIpForwardTable2")) return status;
  if (family == AF_INET6) return lab::MakeIpv6ForwardTable(table);
  return Real<decltype(GetIpForwardTable2)>("GetIpForwardTable2")(family, table);
}

// Wine allocates its tables in the same heap.
void WINAPI StandInFreeMibTable(void* table) { HeapFree(GetProcessHeap(), 0, table); }

ULONG WINAPI StandInGetAdaptersAddresses(ULONG family, ULONG flags, void* reserved,
                                         IP_ADAPTER_ADDRESSES* adapters, ULONG* size) {
  if (const DWORD status = lab::FaultOf("GetAdaptersAddresses")) return status;
  const ULONG status = Real<decltype(GetAdaptersAddresses)>("GetAdaptersAddresses")(
      family, flags, reserved, adapters, size);
  if (status != NO_ERROR) return status;
  for (IP_ADAPTER_ADDRESSES* row = adapters; row != nullptr; row = row->Next) {
    row->Ipv6IfIndex = row->IfIndex;  // Wine leaves it 0
  }
  return status;
}

DWORD WINAPI StandInGetExtendedTcpTable(void* table, DWORD* size, BOOL sorted, ULONG family,
                                        TCP_TABLE_CLASS table_class, ULONG reserved) {
  if (const DWORD status = lab::FaultOf("GetExtendedTcpTable")) return status;
  return Real<decltype(GetExtendedTcpTable)>("GetExtendedTcpTable")(table, size, sorted, family,
                                                                    table_class, reserved);
}
}
