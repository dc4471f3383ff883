#pragma once

// How far the program has come when a story ends, in the words of docs/protocol.md and
// docs/operations.md.

#include <string>

#include <nlohmann/json.hpp>

#include "tests/faults/account.h"

namespace veltrane::faults {

// Words for what has no code in a reply.
inline constexpr char kUnchanged[] = "unchanged";     // nothing has been done
inline constexpr char kLostBypass[] = "lost bypass";  // admin_bypass_failed after the tunnel start
inline constexpr char kTimerDone[] = "timer done";    // the teardown of the timer, and nothing else
inline constexpr char kNotScrubbed[] = "not scrubbed";  // a teardown before it comes to the file

// What the last request leads to: "connected", "disconnected", "status", "register_session", or the
// code of an error. A timer that expires last leads to "disconnected". Where the process has ended,
// the word is for what it had done by then.
std::string LastWord(const Account& account);

// The same by the reply alone, whatever a timer did.
std::string WordOfLastReply(const Account& account);

// The phase behind that word, "connected fra-1": the node is that of the request.
std::string ExpectedPhase(const Account& account);

// The last request, and the reply to it; discarded when there is none.
nlohmann::json LastRequest(const Account& account);
nlohmann::json LastReply(const Account& account);

// A member that is a string; empty when there is none.
std::string TextOf(const nlohmann::json& object, const char* member);

// The call that failed has kept this setting from the program.
bool HasLost(const Account& account, const Setting& setting);

// The story has made this setting in the machine's environment, and it has reached the program.
bool KnowsOfMachine(const Account& account, const std::string& setting);

}  // namespace veltrane::faults
