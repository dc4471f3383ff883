#pragma once

// Checks of the values of a profile, which the service takes as they are. Pure functions.

#include <optional>

#include "client/profile/profile.h"

namespace veltrane {

// The first problem of a profile: a value that a tunnel needs is missing, a key is no base64 of 32
// bytes, an address is none, a port is out of range, or a value has characters that the service
// would carry into its configuration file or its replies unescaped. It is told in the given words.
std::optional<ProfileProblem> FindProfileProblem(const Profile& profile,
                                                 const ProfileKeyWords& words = kProfileKeyNames);

}  // namespace veltrane
