#pragma once

// The rules that every run must keep, whatever fails in it. They are written from the documents,
// and know nothing of the code: each takes the account of a run and says what is wrong with it.

#include <optional>
#include <string>
#include <vector>

#include "tests/faults/account.h"
#include "tests/faults/failure_kinds.h"

namespace veltrane::faults {

using Complaints = std::vector<std::string>;

// The process has answered every request, or ended in a way and for a reason that the documents
// name: docs/protocol.md, "What ends the service", docs/operations.md, "Modes and exit codes".
Complaints JudgeEnd(const Account& account, const std::optional<Fault>& fault);

// Every reply is whole: JSON, with the members and the messages that docs/protocol.md lists for its
// error. The phase behind it agrees, and so does the bypass report of a connect.
Complaints JudgeReplies(const Account& account);

// No key is in a reply or in any output, and no file with one is open to users.
Complaints JudgeSecrecy(const Account& account);

// A connect that is answered with "connected" has pinned every administrator whom it had to pin,
// and under the guard no catch-all is left in the file: unless the call that failed is one by which
// the service learns of a setting or of an administrator (docs/limits.md, "Kept by design").
Complaints JudgeProtection(const Account& account, const std::optional<Fault>& fault);

// Routes that this process has recorded as its own, and no others, were deleted: those that it has
// created since a connect last reached the bypass. Nothing is recorded any more in the phase
// "disconnected".
Complaints JudgeRoutes(const Account& account);

// Everything that was opened has been closed, but for the pipe of a server that waits.
Complaints JudgeOpen(const Account& account, const std::optional<Fault>& fault);

// The tunnel service and the files are what docs/operations.md says of this outcome ("What stays
// behind"), except where the call that failed is about them.
Complaints JudgeLeft(const Account& account, const std::optional<Fault>& fault);

// A disconnect afterwards leaves what that page says, and a connect after it succeeds.
Complaints JudgeAftermath(const Account& account);

// All of them.
Complaints Judge(const Account& account, const std::optional<Fault>& fault);

}  // namespace veltrane::faults
