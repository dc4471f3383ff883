#pragma once

// Checks the values of a profile, because the service does not.

#include <optional>

#include "client/profile/profile.h"

namespace veltrane {

// Finds the first problem of a profile: a required value is missing, a key, address or port is not
// one, or a value has characters that the service would copy into its configuration file or its
// replies without escaping them. `words` name the keys in the text. Pure function.
std::optional<ProfileProblem> FindProfileProblem(const Profile& profile,
                                                 const ProfileKeyWords& words = kProfileKeyNames);

}  // namespace veltrane
