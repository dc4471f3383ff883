#pragma once

// Security identifiers and access lists. May be called on any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/owner.h"

namespace veltrane {

// A security identifier as a self-relative value: the bytes of the Windows SID structure.
struct Sid {
  std::vector<unsigned char> bytes;

  bool operator==(const Sid&) const = default;
};

// TRUSTEE_TYPE of accctrl.h.
enum class TrusteeType { kUser = 1, kGroup = 2 };

// Rights of an access mask: GENERIC_ALL, GENERIC_READ, GENERIC_WRITE, SYNCHRONIZE.
inline constexpr std::uint32_t kGenericAll = 0x10000000;
inline constexpr std::uint32_t kGenericRead = 0x80000000;
inline constexpr std::uint32_t kGenericWrite = 0x40000000;
inline constexpr std::uint32_t kSynchronize = 0x00100000;

// Inheritance of an entry: NO_INHERITANCE, SUB_CONTAINERS_AND_OBJECTS_INHERIT.
inline constexpr std::uint32_t kNoInheritance = 0;
inline constexpr std::uint32_t kObjectAndContainerInherit = 3;

// One entry that is set (SET_ACCESS) on a fresh access list, its trustee given by SID.
struct AccessEntry {
  Sid sid;
  TrusteeType trustee_type = TrusteeType::kUser;
  std::uint32_t access_mask = 0;
  std::uint32_t inheritance = kNoInheritance;
};

// Makes a SID of the NT authority (5) with the given sub-authorities (AllocateAndInitializeSid);
// nullopt when that fails.
std::optional<Sid> MakeNtSid(const std::vector<std::uint32_t>& sub_authorities);

// Local System, S-1-5-18, and the Administrators group, S-1-5-32-544.
inline std::optional<Sid> MakeSystemSid() { return MakeNtSid({18}); }
inline std::optional<Sid> MakeAdministratorsSid() { return MakeNtSid({32, 544}); }

// The SID of the user who is logged on to a session (WTSQueryUserToken, GetTokenInformation).
// nullopt when any step fails; the first needs the privileges of a LocalSystem service.
std::optional<Sid> ReadSessionUserSid(std::uint32_t session_id);

// A SECURITY_ATTRIBUTES record of 24 bytes with its security descriptor and access list; handles
// opened with it are not inheritable.
struct SecurityAttributes;

// Frees the access list, the descriptor and the record.
void FreeSecurityAttributes(SecurityAttributes* attributes) noexcept;
using SecurityAttributesOwner = Owner<SecurityAttributes, FreeSecurityAttributes>;

// Builds the access list from the entries in their order (SetEntriesInAclW, no old list) and a
// descriptor that carries it as present and not defaulted. Null on any failure.
SecurityAttributesOwner MakeSecurityAttributes(const std::vector<AccessEntry>& entries);

// Replaces the access list of a file or folder by exactly these entries and cuts off inheritance
// (SetNamedSecurityInfoW with DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION).
// Returns false on any failure.
bool SetProtectedAccess(const std::wstring& path, const std::vector<AccessEntry>& entries);

}  // namespace veltrane
