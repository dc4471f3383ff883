#pragma once

#include <optional>
#include <string>

#include "client/profile/profile.h"

namespace veltrane {

// A profile that can be sent, or one line that says what is wrong, where, and how to fix it.
struct ProfileFile {
  std::optional<Profile> profile;
  std::string problem;  // "office.conf:3: MTU: the service does not support it, so delete the line"
};

// Reads a profile in either format from a file, or from standard input for "-", and checks its
// values. A profile whose first character is a brace is JSON. `node_id`, unless empty, replaces the
// profile's own; without it, a node from a WireGuard configuration is named after the file.
ProfileFile ReadProfileFile(const std::string& path, const std::string& node_id);

}  // namespace veltrane
