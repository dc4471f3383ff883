#pragma once

// What the operator wants, as the properties of the installation say it.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/installer.h"

namespace veltrane {

// A setting of the service's own Environment value.
struct WantedSetting {
  std::wstring name;                  // "ADMIN_BYPASS_IPS"
  std::optional<std::wstring> value;  // nullopt: the setting is to be taken away
};

struct Wishes {
  std::vector<WantedSetting> settings;      // those that a property names
  std::optional<std::uint32_t> start_type;  // of service_codes.h
  bool stop_tunnel = false;                 // TUNNEL=stop
  std::string problem;  // why the properties cannot be understood, one sentence; else empty
};

// Reads the properties ADMIN_BYPASS_IPS, DISABLE_DEFAULT_ROUTE, AUTO_STOP_SECONDS, START and
// TUNNEL. A property that is not set wants nothing. "none" takes a setting away.
Wishes ReadWishes(const InstallerSession& session);

// Returns the entries ("NAME=value") of an Environment value after these changes. The first entry
// of a name that is changed, in any case of its letters, gives its place to the new one, the others
// go, and a new name comes last. All other entries stay as they are. Pure function.
std::vector<std::wstring> WithSettings(const std::vector<std::wstring>& entries,
                                       const std::vector<WantedSetting>& settings);

}  // namespace veltrane
