#pragma once

// Security identifiers (SIDs), access lists and security descriptors.
// Threads: any.
// Windows: "Security Identifiers", "Access Control Lists", "Security Descriptors".

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/owner.h"

namespace veltrane {

// A security identifier as a value: the bytes of the Windows SID structure.
struct Sid {
  std::vector<unsigned char> bytes;

  bool operator==(const Sid&) const = default;
};

// TRUSTEE_TYPE (accctrl.h).
enum class TrusteeType { kUser = 1, kGroup = 2 };

// Access rights: GENERIC_ALL, GENERIC_READ, GENERIC_WRITE, SYNCHRONIZE.
inline constexpr std::uint32_t kGenericAll = 0x10000000;
inline constexpr std::uint32_t kGenericRead = 0x80000000;
inline constexpr std::uint32_t kGenericWrite = 0x40000000;
inline constexpr std::uint32_t kSynchronize = 0x00100000;

// Inheritance flags: NO_INHERITANCE, SUB_CONTAINERS_AND_OBJECTS_INHERIT.
inline constexpr std::uint32_t kNoInheritance = 0;
inline constexpr std::uint32_t kObjectAndContainerInherit = 3;

// One entry of a new access list: SET_ACCESS for a trustee that is given by its SID.
struct AccessEntry {
  Sid sid;
  TrusteeType trustee_type = TrusteeType::kUser;
  std::uint32_t access_mask = 0;
  std::uint32_t inheritance = kNoInheritance;
};

// Makes a SID of the NT authority (5) with these sub-authorities, eight at most
// (AllocateAndInitializeSid). nullopt on failure.
std::optional<Sid> MakeNtSid(const std::vector<std::uint32_t>& sub_authorities);

// The SIDs of Local System, S-1-5-18, and of the Administrators group, S-1-5-32-544.
inline std::optional<Sid> MakeSystemSid() { return MakeNtSid({18}); }
inline std::optional<Sid> MakeAdministratorsSid() { return MakeNtSid({32, 544}); }

// Reads the SID of the user who is logged on to a session (WTSQueryUserToken, GetTokenInformation).
// nullopt on any failure; WTSQueryUserToken requires a LocalSystem process.
std::optional<Sid> ReadSessionUserSid(std::uint32_t session_id);

// Reads the SID of the user whom this process acts for (OpenProcessToken, GetTokenInformation).
// nullopt on any failure.
std::optional<Sid> ReadOwnUserSid();

// A SECURITY_ATTRIBUTES structure (24 bytes) with its security descriptor and access list. Handles
// created with it are not inheritable.
struct SecurityAttributes;

// Frees the structure, the descriptor and the access list.
void FreeSecurityAttributes(SecurityAttributes* attributes) noexcept;
using SecurityAttributesOwner = Owner<SecurityAttributes, FreeSecurityAttributes>;

// Builds an access list from the entries, in their order (SetEntriesInAclW without an old list),
// and a descriptor that holds it, marked present and not defaulted. Null on any failure, and
// without entries, of which Windows makes no list: a descriptor without one would admit everybody.
SecurityAttributesOwner MakeSecurityAttributes(const std::vector<AccessEntry>& entries);

// Replaces the access list of a file or folder with exactly these entries, and protects it from
// inheritance (SetNamedSecurityInfoW with DACL_SECURITY_INFORMATION |
// PROTECTED_DACL_SECURITY_INFORMATION). Returns false on any failure.
bool SetProtectedAccess(const std::wstring& path, const std::vector<AccessEntry>& entries);

// Creates a folder that nobody but Local System and the Administrators group can open, from its
// first moment on: they have full access to it and to what will be in it, and it inherits nothing
// (CreateDirectoryW with a protected access list; "Security Descriptor String Format"). The folder
// above it must exist. Returns 0 or the Win32 error: 183 when something is there, 3 without the
// folder above.
std::uint32_t CreateClosedFolder(const std::wstring& path);

}  // namespace veltrane
