#pragma once

// Who may open the control pipe.

#include <memory>
#include <optional>

#include "platform/security.h"

namespace veltrane {

// Frees a security record of the pipe; null is allowed.
void FreePipeSecurity(SecurityAttributes* attributes);

struct PipeSecurityDeleter {
  void operator()(SecurityAttributes* attributes) const { FreePipeSecurity(attributes); }
};
using PipeSecurity = std::unique_ptr<SecurityAttributes, PipeSecurityDeleter>;

// Builds the security of the control pipe: full access for Local System and the Administrators
// group, read and write for the user of the active console session. An entry is left out when its
// SID cannot be obtained. Null when the access list cannot be built; the pipe then gets the default
// security.
PipeSecurity BuildPipeSecurity();

// The SID of the user of the active console session; nullopt when nobody is attached to the console
// or the session's token cannot be had, which is so for a process that is not LocalSystem.
std::optional<Sid> ConsoleUserSid();

}  // namespace veltrane
