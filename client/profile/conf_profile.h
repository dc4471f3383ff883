#pragma once

#include <string_view>

#include "client/profile/profile.h"

namespace veltrane {

// Reads a WireGuard configuration of one [Interface] and one [Peer]. Section and key names count in
// any case; "#" begins a comment. Address, DNS and AllowedIPs may come several times and are joined
// by commas. What the service has no field for is a problem, and so is a PersistentKeepalive other
// than 25, which the service always uses. Values are not checked; the node is not in such a file.
ProfileReading ReadConfProfile(std::string_view text);

}  // namespace veltrane
