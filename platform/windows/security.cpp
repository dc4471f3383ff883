#include "platform/security.h"

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>
#include <wtsapi32.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "platform/windows/handles.h"
#include "platform/windows/security_attributes.h"

namespace veltrane {
namespace {

static_assert(kGenericAll == GENERIC_ALL);
static_assert(kGenericRead == GENERIC_READ);
static_assert(kGenericWrite == GENERIC_WRITE);
static_assert(kSynchronize == SYNCHRONIZE);
static_assert(kNoInheritance == NO_INHERITANCE);
static_assert(kObjectAndContainerInherit == SUB_CONTAINERS_AND_OBJECTS_INHERIT);
static_assert(static_cast<int>(TrusteeType::kUser) == TRUSTEE_IS_USER);
static_assert(static_cast<int>(TrusteeType::kGroup) == TRUSTEE_IS_GROUP);

std::optional<Sid> CopyOfSid(PSID source) {
  Sid sid;
  sid.bytes.resize(GetLengthSid(source));
  const DWORD size = static_cast<DWORD>(sid.bytes.size());
  if (!CopySid(size, sid.bytes.data(), source)) return std::nullopt;
  return sid;
}

// The SID of the user whom the token stands for; nullopt on failure.
std::optional<Sid> UserOf(const UniqueHandle& token) {
  DWORD size = 0;
  GetTokenInformation(token.get(), TokenUser, nullptr, 0, &size);
  if (size < sizeof(TOKEN_USER)) return std::nullopt;
  std::vector<std::byte> buffer(size);
  if (!GetTokenInformation(token.get(), TokenUser, buffer.data(), size, &size)) return std::nullopt;
  return CopyOfSid(reinterpret_cast<const TOKEN_USER*>(buffer.data())->User.Sid);
}

// Returns the entry as SetEntriesInAclW takes it; it points to the SID of `entry`.
EXPLICIT_ACCESSW ToExplicitAccess(const AccessEntry& entry) {
  EXPLICIT_ACCESSW access{};
  access.grfAccessPermissions = entry.access_mask;
  access.grfAccessMode = SET_ACCESS;
  access.grfInheritance = entry.inheritance;
  access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
  access.Trustee.TrusteeType = static_cast<TRUSTEE_TYPE>(entry.trustee_type);
  // For this trustee form the name is a pointer to the SID; it is only read.
  access.Trustee.ptstrName =
      reinterpret_cast<wchar_t*>(const_cast<unsigned char*>(entry.sid.bytes.data()));
  return access;
}

// Builds a new access list from the entries, in their order; null on failure. A success without a
// list also counts as a failure, because a null list would admit everyone.
LocalMemory<ACL> MakeAccessList(const std::vector<AccessEntry>& entries) {
  std::vector<EXPLICIT_ACCESSW> accesses;
  accesses.reserve(entries.size());
  for (const AccessEntry& entry : entries) accesses.push_back(ToExplicitAccess(entry));
  ACL* list = nullptr;
  const DWORD status =
      SetEntriesInAclW(static_cast<ULONG>(accesses.size()), accesses.data(), nullptr, &list);
  LocalMemory<ACL> owner(list);
  return status == ERROR_SUCCESS ? std::move(owner) : nullptr;
}

// Builds a security descriptor that holds the list; null on failure.
LocalMemory<void> MakeDescriptor(ACL* access_list) {
  LocalMemory<void> descriptor(LocalAlloc(LPTR, SECURITY_DESCRIPTOR_MIN_LENGTH));
  if (!descriptor) return nullptr;
  if (!InitializeSecurityDescriptor(descriptor.get(), SECURITY_DESCRIPTOR_REVISION)) return nullptr;
  if (!SetSecurityDescriptorDacl(descriptor.get(), TRUE, access_list, FALSE)) return nullptr;
  return descriptor;
}

}  // namespace

std::optional<Sid> MakeNtSid(const std::vector<std::uint32_t>& sub_authorities) {
  std::array<DWORD, 8> parts{};
  if (sub_authorities.size() > parts.size()) return std::nullopt;
  std::copy(sub_authorities.begin(), sub_authorities.end(), parts.begin());
  SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
  PSID allocated = nullptr;
  if (!AllocateAndInitializeSid(&authority, static_cast<BYTE>(sub_authorities.size()), parts[0],
                                parts[1], parts[2], parts[3], parts[4], parts[5], parts[6],
                                parts[7], &allocated)) {
    return std::nullopt;
  }
  const AllocatedSid owner(allocated);
  return CopyOfSid(allocated);
}

std::optional<Sid> ReadSessionUserSid(std::uint32_t session_id) {
  HANDLE handle = nullptr;
  if (!WTSQueryUserToken(session_id, &handle)) return std::nullopt;
  return UserOf(UniqueHandle(handle));
}

std::optional<Sid> ReadOwnUserSid() {
  HANDLE handle = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &handle)) return std::nullopt;
  return UserOf(UniqueHandle(handle));
}

SecurityAttributesOwner MakeSecurityAttributes(const std::vector<AccessEntry>& entries) {
  SecurityAttributesOwner attributes(new SecurityAttributes());
  attributes->access_list = MakeAccessList(entries);
  if (!attributes->access_list) return nullptr;
  attributes->descriptor = MakeDescriptor(attributes->access_list.get());
  if (!attributes->descriptor) return nullptr;
  attributes->record = {sizeof(SECURITY_ATTRIBUTES), attributes->descriptor.get(), FALSE};
  return attributes;
}

void FreeSecurityAttributes(SecurityAttributes* attributes) noexcept { delete attributes; }

bool SetProtectedAccess(const std::wstring& path, const std::vector<AccessEntry>& entries) {
  const LocalMemory<ACL> list = MakeAccessList(entries);
  if (!list) return false;
  std::wstring object = path;  // the call takes a name that is not const
  return SetNamedSecurityInfoW(object.data(), SE_FILE_OBJECT,
                               DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                               nullptr, nullptr, list.get(), nullptr) == ERROR_SUCCESS;
}

std::uint32_t CreateClosedFolder(const std::wstring& path) {
  // Protected; full access, inherited by files and folders, for Local System and Administrators.
  constexpr wchar_t kClosed[] = L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(kClosed, SDDL_REVISION_1, &descriptor,
                                                            nullptr)) {
    return GetLastError();
  }
  const LocalMemory<void> owner(descriptor);
  SECURITY_ATTRIBUTES attributes = {sizeof(SECURITY_ATTRIBUTES), descriptor, FALSE};
  return CreateDirectoryW(path.c_str(), &attributes) ? ERROR_SUCCESS : GetLastError();
}

}  // namespace veltrane
