#pragma once

// Who may open the control pipe.

#include <optional>

#include "platform/security.h"

namespace veltrane {

// The security of the control pipe, which is freed with the object.
using PipeSecurity = SecurityAttributesOwner;

// Builds the security of the control pipe: full access for Local System and the Administrators
// group, read and write for the user of the active console session. An entry is left out when its
// SID cannot be obtained. Null when the access list cannot be built; the pipe then gets the default
// security.
PipeSecurity BuildPipeSecurity();

// Frees the record at once.
inline void FreePipeSecurity(PipeSecurity& security) { security.reset(); }

// The SID of the user of the active console session; nullopt when nobody is attached to the console
// or the session's token cannot be had, which is so for a process that is not LocalSystem.
std::optional<Sid> ConsoleUserSid();

}  // namespace veltrane
