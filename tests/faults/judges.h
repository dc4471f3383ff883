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
// name: docs/protocol.md, "What ends the service", docs/operations.md, "Modes and exit codes". A
// failure that ends it is not passed over. Without a failure the story leads where it is meant to.
Complaints JudgeEnd(const Account& account, const std::optional<Fault>& fault);

// Every reply is whole: JSON, with the members and the messages that docs/protocol.md lists for its
// error, and the node of the request. The phase is that to which the requests and the timer of the
// story lead, also where no reply came, and the bypass report of a connect agrees.
Complaints JudgeReplies(const Account& account);

// No key is in a reply or in any output, and no file with one is open to users.
Complaints JudgeSecrecy(const Account& account);

// A connect that came to "connected" has pinned every administrator whom it had to pin, and under
// the guard no catch-all is left in the file. Only an administrator of whom the program has not
// learnt, because the call that failed is about this address, its setting or the list that it is
// in, may be unpinned (docs/limits.md, "Kept by design"), and then the reply does not name him. A
// guard of which it has not learnt is off, and the administrators are pinned.
Complaints JudgeProtection(const Account& account, const std::optional<Fault>& fault);

// Routes that this process has recorded as its own, and no others, were deleted: those that it has
// created since a connect last reached the bypass. Nothing is recorded any more behind a teardown
// or a refusal, nor when the process ends after that.
Complaints JudgeRoutes(const Account& account);

// Everything that was opened has been closed and every lock opened, at the end of the story and
// after the connect that follows it, but for the pipe of a server that waits. Such a server there
// is where the program lives, or where its stop could not wake the thread.
Complaints JudgeOpen(const Account& account);

// The tunnel service and the files are what docs/operations.md says of this outcome ("What stays
// behind"), also where the process has ended: see ExpectedLeft.
Complaints JudgeLeft(const Account& account, const std::optional<Fault>& fault);

// A disconnect afterwards leaves what that page says. A connect after it succeeds, and adds the
// route of its administrator and no other.
Complaints JudgeAftermath(const Account& account);

// All of them.
Complaints Judge(const Account& account, const std::optional<Fault>& fault);

}  // namespace veltrane::faults
