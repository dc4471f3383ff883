#pragma once

#include <optional>
#include <string>

#include "client/profile/profile.h"

namespace veltrane {

// A profile that may be sent, or one line that says what is wrong, where, and what to do.
struct ProfileFile {
  std::optional<Profile> profile;
  std::string problem;  // "office.conf:3: MTU: the service has no field for it, so delete the line"
};

// Reads a profile from a file, or from standard input for "-", in either format, and checks its
// values. A JSON profile is known by its first character, a brace. `node_id` replaces the profile's
// own unless it is empty; a WireGuard configuration, which has none, is otherwise named after its
// file.
ProfileFile ReadProfileFile(const std::string& path, const std::string& node_id);

}  // namespace veltrane
