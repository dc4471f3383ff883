#include "tests/platform_windows/system_answers.h"

#include <ws2tcpip.h>

#include <iphlpapi.h>
#include <wtsapi32.h>

#include <algorithm>

namespace veltrane {
namespace {

SystemAnswers* current = nullptr;

ULONG GiveTable(void* table, ULONG* size, const std::vector<std::byte>& bytes, ULONG too_small) {
  const ULONG room = table == nullptr ? 0 : *size;
  *size = static_cast<ULONG>(bytes.size());
  if (room < bytes.size()) return too_small;
  std::copy(bytes.begin(), bytes.end(), static_cast<std::byte*>(table));
  return NO_ERROR;
}

}  // namespace

SystemAnswers::SystemAnswers() { current = this; }

SystemAnswers::~SystemAnswers() { current = nullptr; }

}  // namespace veltrane

using veltrane::current;

extern "C" {

DWORD WINAPI GetIpForwardTable(MIB_IPFORWARDTABLE* table, ULONG* size, BOOL) {
  return veltrane::GiveTable(table, size, current->table, ERROR_INSUFFICIENT_BUFFER);
}

DWORD WINAPI GetExtendedTcpTable(void* table, DWORD* size, BOOL, ULONG, TCP_TABLE_CLASS, ULONG) {
  return veltrane::GiveTable(table, size, current->table, ERROR_INSUFFICIENT_BUFFER);
}

ULONG WINAPI GetAdaptersAddresses(ULONG, ULONG, void*, IP_ADAPTER_ADDRESSES* adapters,
                                  ULONG* size) {
  // In the caller's own memory only the adapter, whose address stays where it is.
  static IP_ADAPTER_UNICAST_ADDRESS unicast;
  unicast = {};
  unicast.Address = current->adapter_address;
  IP_ADAPTER_ADDRESSES adapter{};
  adapter.IfIndex = 12;
  adapter.Ipv6IfIndex = 12;
  adapter.FirstUnicastAddress = &unicast;
  std::vector<std::byte> bytes;
  veltrane::Append(bytes, adapter);
  return veltrane::GiveTable(adapters, size, bytes, ERROR_BUFFER_OVERFLOW);
}

BOOL WINAPI WTSQuerySessionInformationW(HANDLE, DWORD, WTS_INFO_CLASS, LPWSTR* buffer,
                                        DWORD* size) {
  *buffer = nullptr;
  *size = 0;
  if (!current->client_address) return TRUE;
  const std::vector<std::byte>& bytes = *current->client_address;
  auto* memory = new std::byte[bytes.size()];
  std::copy(bytes.begin(), bytes.end(), memory);
  *buffer = reinterpret_cast<wchar_t*>(memory);
  *size = static_cast<DWORD>(bytes.size());
  ++current->client_address_buffers;
  return TRUE;
}

void WINAPI WTSFreeMemory(void* memory) {
  delete[] static_cast<std::byte*>(memory);
  --current->client_address_buffers;
}

}  // extern "C"
