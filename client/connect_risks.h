#pragma once

#include <optional>

#include "client/commands.h"
#include "client/connect/split_default.h"
#include "client/profile/profile.h"

namespace veltrane {

// Why nothing may be sent, as an exit code of which everything has been said; nullopt when it may.
using Objection = std::optional<ExitCode>;

// Makes the forecast for what is about to be sent, and objects when somebody who is connected would
// not stay, when halves would get past the default-route guard, and when packets would leak past
// them, unless --accept-risk names that risk. Warns about people who are not connected now.
Objection CheckRisks(const Profile& profile, const SplitList& split, const Options& options,
                     Display& display);

}  // namespace veltrane
