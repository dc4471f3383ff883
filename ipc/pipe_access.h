#pragma once

// Who may open the control pipe.

#include <optional>

#include "platform/security.h"

namespace veltrane {

// The security attributes of the control pipe.
using PipeSecurity = SecurityAttributesOwner;

// Builds the security attributes of the control pipe: full access for Local System and the
// Administrators group, read and write access for the user of the active console session. Leaves
// out an entry whose SID cannot be obtained. Null when the access list cannot be built, as without
// any SID; the pipe then gets the default security descriptor.
PipeSecurity BuildPipeSecurity();

// Frees the security attributes now.
inline void FreePipeSecurity(PipeSecurity& security) { security.reset(); }

// Returns the SID of the user of the active console session. nullopt when no session is attached to
// the console, and when its user's token cannot be obtained, as in a process that is not
// LocalSystem.
std::optional<Sid> ConsoleUserSid();

}  // namespace veltrane
