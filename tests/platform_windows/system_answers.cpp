#include "tests/platform_windows/system_answers.h"

#include <ws2tcpip.h>

#include <iphlpapi.h>
#include <sddl.h>
#include <wtsapi32.h>

#include <algorithm>
#include <list>

#include "platform/windows/handles.h"

namespace veltrane {
namespace {

SystemAnswers* current = nullptr;

// Answers a call for the size or for the bytes.
ULONG Give(void* memory, ULONG* size, std::vector<std::byte> bytes, ULONG too_small) {
  static std::size_t grown = 0;
  if (memory == nullptr) grown = 0;
  bytes.resize(bytes.size() + grown);
  grown += current->growth;
  const ULONG room = memory == nullptr ? 0 : *size;
  *size = static_cast<ULONG>(bytes.size());
  if (memory == nullptr && current->size_status) return *current->size_status;
  if (room < bytes.size()) return too_small;
  std::copy(bytes.begin(), bytes.end(), static_cast<std::byte*>(memory));
  return NO_ERROR;
}

ULONG GiveTable(void* table, ULONG* size, const TableCall& call) {
  current->table_calls.push_back(call);
  return Give(table, size, current->table, ERROR_INSUFFICIENT_BUFFER);
}

// The adapters; in the caller's memory is only the first one, which points to the others.
std::vector<std::byte> LinkAdapters() {
  static std::list<IP_ADAPTER_ADDRESSES> adapters;
  static std::list<IP_ADAPTER_UNICAST_ADDRESS> unicasts;
  adapters.clear();
  unicasts.clear();
  IP_ADAPTER_ADDRESSES* next = nullptr;
  for (auto addresses = current->adapters.rbegin(); addresses != current->adapters.rend();
       ++addresses) {
    IP_ADAPTER_ADDRESSES& adapter = adapters.emplace_back();
    adapter.Next = next;
    adapter.IfIndex = 12;
    adapter.Ipv6IfIndex = 12;
    for (auto address = addresses->rbegin(); address != addresses->rend(); ++address) {
      IP_ADAPTER_UNICAST_ADDRESS& unicast = unicasts.emplace_back();
      unicast.Next = adapter.FirstUnicastAddress;
      unicast.Address = *address;
      adapter.FirstUnicastAddress = &unicast;
    }
    next = &adapter;
  }
  std::vector<std::byte> bytes;
  if (!adapters.empty()) Append(bytes, adapters.back());
  return bytes;
}

}  // namespace

SystemAnswers::SystemAnswers() { current = this; }

SystemAnswers::~SystemAnswers() { current = nullptr; }

}  // namespace veltrane

using veltrane::current;

extern "C" {

DWORD WINAPI GetIpForwardTable(MIB_IPFORWARDTABLE* table, ULONG* size, BOOL sorted) {
  return veltrane::GiveTable(table, size, {.size = *size, .sorted = sorted});
}

DWORD WINAPI GetExtendedTcpTable(void* table, DWORD* size, BOOL sorted, ULONG family,
                                 TCP_TABLE_CLASS table_class, ULONG) {
  return veltrane::GiveTable(
      table, size, {.size = *size, .sorted = sorted, .family = family, .table_class = table_class});
}

ULONG WINAPI GetAdaptersAddresses(ULONG, ULONG flags, void*, IP_ADAPTER_ADDRESSES* adapters,
                                  ULONG* size) {
  current->adapter_flags.push_back(flags);
  return veltrane::Give(adapters, size, veltrane::LinkAdapters(), ERROR_BUFFER_OVERFLOW);
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

// The headers declare the following as imported, so that callers have the addresses from the import
// table, whose entries these are.

namespace veltrane {
namespace {

LSTATUS WINAPI GiveRegistryValue(HKEY root, const wchar_t* key, const wchar_t* name, DWORD flags,
                                 DWORD*, void* data, DWORD* size) {
  current->registry_calls.push_back({root, key, name, flags, *size});
  const auto value = current->registry.find({root, name});
  if (value == current->registry.end()) return ERROR_FILE_NOT_FOUND;
  const std::size_t needed = (value->second.size() + 1) * sizeof(wchar_t);
  const bool fits = needed <= *size;
  *size = static_cast<DWORD>(needed);
  if (!fits) return ERROR_MORE_DATA;
  std::memcpy(data, value->second.c_str(), needed);
  return ERROR_SUCCESS;
}

std::string TextOf(PSECURITY_DESCRIPTOR descriptor) {
  constexpr SECURITY_INFORMATION kAll =
      OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
  char* text = nullptr;
  if (!ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1, kAll,
                                                            &text, nullptr)) {
    return "unreadable";
  }
  const LocalMemory<char> owner(text);
  return text;
}

DWORD WINAPI TakeAccessList(wchar_t* object, SE_OBJECT_TYPE type, SECURITY_INFORMATION parts,
                            PSID owner, PSID group, ACL* list, ACL* audit) {
  SECURITY_DESCRIPTOR descriptor;
  InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
  SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE);
  current->access_lists.push_back({object, type, parts,
                                   owner == nullptr && group == nullptr && audit == nullptr,
                                   TextOf(&descriptor)});
  return ERROR_SUCCESS;
}

std::string SidText(const void* sid) {
  char* text = nullptr;
  if (!ConvertSidToStringSidA(const_cast<void*>(sid), &text)) return "unreadable";
  const LocalMemory<char> owner(text);
  return text;
}

DWORD WINAPI TakeEntries(ULONG count, EXPLICIT_ACCESSW* entries, ACL* earlier, ACL** list) {
  for (ULONG i = 0; i < count && earlier == nullptr; ++i) {
    const EXPLICIT_ACCESSW& entry = entries[i];
    const bool is_sid = entry.Trustee.TrusteeForm == TRUSTEE_IS_SID;
    current->entries.push_back({is_sid ? SidText(entry.Trustee.ptstrName) : "no SID",
                                entry.grfAccessPermissions, entry.grfAccessMode,
                                entry.grfInheritance, entry.Trustee.TrusteeType});
  }
  static const auto make = reinterpret_cast<decltype(&TakeEntries)>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"advapi32"), "SetEntriesInAclW")));
  return make(count, entries, earlier, list);
}

HANDLE WINAPI TakePipe(const wchar_t*, DWORD, DWORD, DWORD, DWORD, DWORD, DWORD,
                       SECURITY_ATTRIBUTES* attributes) {
  std::optional<GivenPipeSecurity>& given = current->pipes.emplace_back();
  if (attributes != nullptr) {
    given.emplace();
    given->length = attributes->nLength;
    given->inheritable = attributes->bInheritHandle;
    PSECURITY_DESCRIPTOR descriptor = attributes->lpSecurityDescriptor;
    DWORD revision = 0;
    ACL* list = nullptr;
    GetSecurityDescriptorControl(descriptor, &given->control, &revision);
    GetSecurityDescriptorDacl(descriptor, &given->is_present, &list, &given->is_defaulted);
    given->descriptor = TextOf(descriptor);
  }
  SetLastError(ERROR_PIPE_BUSY);
  return INVALID_HANDLE_VALUE;
}

BOOL WINAPI TakeServiceConfig(SC_HANDLE, DWORD level, void* info) {
  current->sid_types.emplace_back(level, static_cast<SERVICE_SID_INFO*>(info)->dwServiceSidType);
  return TRUE;
}

}  // namespace

extern decltype(&GiveRegistryValue) reg_get_value asm("__imp_RegGetValueW");
decltype(&GiveRegistryValue) reg_get_value = GiveRegistryValue;
extern decltype(&TakeServiceConfig) change_service_config asm("__imp_ChangeServiceConfig2W");
decltype(&TakeServiceConfig) change_service_config = TakeServiceConfig;

extern decltype(&TakeAccessList) set_named_security asm("__imp_SetNamedSecurityInfoW");
decltype(&TakeAccessList) set_named_security = TakeAccessList;
extern decltype(&TakeEntries) set_entries asm("__imp_SetEntriesInAclW");
decltype(&TakeEntries) set_entries = TakeEntries;
extern decltype(&TakePipe) create_named_pipe asm("__imp_CreateNamedPipeW");
decltype(&TakePipe) create_named_pipe = TakePipe;

}  // namespace veltrane
