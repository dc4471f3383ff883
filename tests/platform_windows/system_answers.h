#pragma once

// Stand-ins for the functions of Windows from which platform/windows/ reads structures. They take
// the place of the system's own in the executable that links them, and answer what a test says.

#include <windows.h>
#include <winsock2.h>

#include <accctrl.h>

#include <cstddef>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace veltrane {

// Appends the bytes of a value.
template <typename Value>
void Append(std::vector<std::byte>& bytes, const Value& value) {
  const std::size_t begin = bytes.size();
  bytes.resize(begin + sizeof(Value));
  std::memcpy(bytes.data() + begin, &value, sizeof(Value));
}

// What a call for a table of IP Helper asked for.
struct TableCall {
  ULONG size = 0;
  BOOL sorted = FALSE;
  ULONG family = 0;
  int table_class = 0;

  bool operator==(const TableCall&) const = default;
};

// What a call for a registry value asked for.
struct RegistryCall {
  HKEY root = nullptr;
  std::wstring key;
  std::wstring name;
  DWORD flags = 0;
  DWORD size = 0;

  bool operator==(const RegistryCall&) const = default;
};

// An access list that the system was given: for a path, what of it was to be set and whether an
// owner or a group came with it; the entries that one was to be made of; for a pipe, the record and
// the descriptor around it.
struct GivenAccessList {
  std::wstring object;
  SE_OBJECT_TYPE type = SE_UNKNOWN_OBJECT_TYPE;
  SECURITY_INFORMATION parts = 0;
  bool only_list = false;
  std::string list;  // in the security descriptor definition language

  bool operator==(const GivenAccessList&) const = default;
};
struct GivenEntry {
  std::string sid;
  DWORD rights = 0;
  ACCESS_MODE mode = NOT_USED_ACCESS;
  DWORD inheritance = 0;
  TRUSTEE_TYPE type = TRUSTEE_IS_UNKNOWN;

  bool operator==(const GivenEntry&) const = default;
};
struct GivenPipeSecurity {
  DWORD length = 0;
  BOOL inheritable = FALSE;
  SECURITY_DESCRIPTOR_CONTROL control = 0;
  BOOL is_present = FALSE;
  BOOL is_defaulted = FALSE;
  std::string descriptor;  // likewise, with the owner and the group if there are any

  bool operator==(const GivenPipeSecurity&) const = default;
};

// What the system answers, and what it was asked; both begin afresh with each test.
struct SystemAnswers {
  SystemAnswers();
  SystemAnswers(const SystemAnswers&) = delete;
  SystemAnswers& operator=(const SystemAnswers&) = delete;
  ~SystemAnswers();

  // Any table of IP Helper: the size that the first call asks for is that of these bytes, which the
  // second call gives.
  std::vector<std::byte> table;
  std::vector<TableCall> table_calls;

  // The adapters of the machine, in order, each with its addresses; and the flags of each call.
  std::vector<std::vector<SOCKET_ADDRESS>> adapters;
  std::vector<ULONG> adapter_flags;

  // What a call for the size of a table or of the adapters returns instead of "too small".
  std::optional<ULONG> size_status;

  // By how many bytes tables and adapters grow after each call.
  std::size_t growth = 0;

  // The client address of every session. Without one the call succeeds and gives no buffer.
  std::optional<std::vector<std::byte>> client_address;
  int client_address_buffers = 0;  // given and not freed

  // The values of the registry, by root and name; others do not exist.
  std::map<std::pair<HKEY, std::wstring>, std::wstring> registry;
  std::vector<RegistryCall> registry_calls;

  // The access lists that were set, the entries of those that were made without an earlier one,
  // which the system still makes, and the security of the pipes that were to be created, nullopt
  // for the system's own. No pipe can be created.
  std::vector<GivenAccessList> access_lists;
  std::vector<GivenEntry> entries;
  std::vector<std::optional<GivenPipeSecurity>> pipes;

  // The service SID types that were set: the level of the call and the value.
  std::vector<std::pair<DWORD, DWORD>> sid_types;
};

}  // namespace veltrane
