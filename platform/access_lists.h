#pragma once

// The access lists of files and folders. May be called on any thread.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/result.h"

namespace veltrane {

// One entry of an access list, allowing or denying.
struct AccessListEntry {
  std::string sid;  // "S-1-5-32-544"
  bool allows = false;
  std::uint32_t access_mask = 0;

  bool operator==(const AccessListEntry&) const = default;
};

struct AccessList {
  bool has_list = false;      // without a list everybody has every right
  bool is_protected = false;  // nothing is inherited from the folder above
  std::vector<AccessListEntry> entries;
};

// Reads the access list of a file or folder (GetNamedSecurityInfoW); entries that neither allow nor
// deny are left out. Fails with 2 or 3 when it is not there, with 5 without the right to read the
// list.
Result<AccessList> ReadAccessList(const std::wstring& path);

}  // namespace veltrane
