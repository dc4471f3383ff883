#pragma once

#include <string_view>

#include "client/profile/profile.h"

namespace veltrane {

// Reads a WireGuard configuration with one [Interface] and one [Peer]. Case does not matter in
// section and key names; "#" begins a comment. Address, DNS and AllowedIPs may be repeated and are
// joined by commas. A key that the service does not support is a problem, and so is a
// PersistentKeepalive other than 25, which the service always uses. Values are not checked; the
// file does not name the node.
ProfileReading ReadConfProfile(std::string_view text);

}  // namespace veltrane
