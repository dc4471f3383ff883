#pragma once

// The owners and access lists of files and folders.
// Errors: Win32 errors.
// Threads: any.
// Windows: "Access Control Lists".

#include <cstdint>
#include <string>
#include <vector>

#include "platform/result.h"

namespace veltrane {

// One entry of an access list: an ACCESS_ALLOWED_ACE or an ACCESS_DENIED_ACE.
struct AccessListEntry {
  std::string sid;      // in string form: "S-1-5-32-544"; empty if it cannot be converted
  bool allows = false;  // false: it denies
  std::uint32_t access_mask = 0;
  bool only_inherited =
      false;  // for what is created inside, not for this object (INHERIT_ONLY_ACE)

  bool operator==(const AccessListEntry&) const = default;
};

struct AccessList {
  std::string owner;          // a SID in string form
  bool has_list = false;      // false: a null list, which gives everyone every right
  bool is_protected = false;  // inherits nothing from the folder above (SE_DACL_PROTECTED)
  std::vector<AccessListEntry> entries;  // in list order
};

// Reads the owner and the access list of a file or folder (GetNamedSecurityInfoW). Entries of other
// types are left out. Fails with 2 or 3 when the path does not exist, with 5 when the caller may
// not read the list.
Result<AccessList> ReadAccessList(const std::wstring& path);

// Returns whether a file or folder is a reparse point, such as a link or a junction, which may lead
// elsewhere (GetFileAttributesW, FILE_ATTRIBUTE_REPARSE_POINT). Fails with 2 or 3 when the path
// does not exist.
Result<bool> TestReparsePoint(const std::wstring& path);

}  // namespace veltrane
