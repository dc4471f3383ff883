#include "platform/access_lists.h"

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include "platform/text.h"
#include "platform/windows/handles.h"

namespace veltrane {
namespace {

std::string SidText(PSID sid) {
  wchar_t* text = nullptr;
  if (!ConvertSidToStringSidW(sid, &text)) return {};
  const LocalMemory<wchar_t> owner(text);
  return WideToUtf8(text);
}

// ACCESS_ALLOWED_ACE and ACCESS_DENIED_ACE have the same layout.
std::vector<AccessListEntry> ReadEntries(ACL* list) {
  std::vector<AccessListEntry> entries;
  for (DWORD i = 0; i < list->AceCount; ++i) {
    void* memory = nullptr;
    if (!GetAce(list, i, &memory)) continue;
    auto* entry = static_cast<ACCESS_ALLOWED_ACE*>(memory);
    const BYTE type = entry->Header.AceType;
    if (type != ACCESS_ALLOWED_ACE_TYPE && type != ACCESS_DENIED_ACE_TYPE) continue;
    entries.push_back({.sid = SidText(&entry->SidStart),
                       .allows = type == ACCESS_ALLOWED_ACE_TYPE,
                       .access_mask = entry->Mask,
                       .only_inherited = (entry->Header.AceFlags & INHERIT_ONLY_ACE) != 0});
  }
  return entries;
}

}  // namespace

Result<AccessList> ReadAccessList(const std::wstring& path) {
  PSID sid = nullptr;
  ACL* list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const DWORD status = GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT,
                                             OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                                             &sid, nullptr, &list, nullptr, &descriptor);
  const LocalMemory<void> owner(descriptor);
  if (status != ERROR_SUCCESS) return Result<AccessList>::Failure(status);
  AccessList reading;
  if (sid != nullptr) reading.owner = SidText(sid);
  reading.has_list = list != nullptr;
  SECURITY_DESCRIPTOR_CONTROL control = 0;
  DWORD revision = 0;
  if (GetSecurityDescriptorControl(descriptor, &control, &revision)) {
    reading.is_protected = (control & SE_DACL_PROTECTED) != 0;
  }
  if (list != nullptr) reading.entries = ReadEntries(list);
  return reading;
}

Result<bool> TestReparsePoint(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return Result<bool>::Failure(GetLastError());
  return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

}  // namespace veltrane
