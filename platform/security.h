#pragma once

// Security identifiers and access lists. May be called on any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace veltrane {

// A security identifier as a self-relative value: the bytes of the Windows SID structure.
struct Sid {
  std::vector<unsigned char> bytes;

  bool operator==(const Sid&) const = default;
};

// TRUSTEE_TYPE of accctrl.h.
enum class TrusteeType { kUser = 1, kGroup = 2 };

// One entry that is set (SET_ACCESS) on a fresh access list, its trustee given by SID.
struct AccessEntry {
  Sid sid;
  TrusteeType trustee_type = TrusteeType::kUser;
  std::uint32_t access_mask = 0;
  std::uint32_t inheritance = 0;  // 0 none, 3 object and container inherit
};

// Makes a SID of the NT authority (5) with the given sub-authorities (AllocateAndInitializeSid);
// nullopt when that fails.
std::optional<Sid> MakeNtSid(const std::vector<std::uint32_t>& sub_authorities);

// The SID of the user who is logged on to a session (WTSQueryUserToken, GetTokenInformation).
// nullopt when any step fails; the first needs the privileges of a LocalSystem service.
std::optional<Sid> ReadSessionUserSid(std::uint32_t session_id);

// A SECURITY_ATTRIBUTES record of 24 bytes with its security descriptor and access list; handles
// opened with it are not inheritable.
struct SecurityAttributes;

// Builds the access list from the entries in their order (SetEntriesInAclW, no old list) and a
// descriptor that carries it as present and not defaulted. Returns null on any failure. The caller
// owns the record and ends it with FreeSecurityAttributes.
SecurityAttributes* MakeSecurityAttributes(const std::vector<AccessEntry>& entries);

// Frees the access list, the descriptor and the record; null is allowed.
void FreeSecurityAttributes(SecurityAttributes* attributes);

// Replaces the access list of a file or folder by exactly these entries and cuts off inheritance
// (SetNamedSecurityInfoW with DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION).
// Returns false on any failure.
bool SetProtectedAccess(const std::wstring& path, const std::vector<AccessEntry>& entries);

}  // namespace veltrane
