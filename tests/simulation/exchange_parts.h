#pragma once

// What the invariants of exchanges read out of the facts.

#include <optional>
#include <set>
#include <string>

#include "tests/simulation/facts.h"
#include "tests/simulation/wire.h"

namespace veltrane::simulation {

using Words = std::set<std::string>;

// The parts of a reply that is JSON; nullopt when there is none.
std::optional<Reply> ReplyIn(const ExchangeFacts& facts);

// The parts of the reply to a connect that succeeded; nullopt for any other.
std::optional<Reply> SuccessIn(const ExchangeFacts& facts);

// "status", "register_session", "connect", "disconnect", or "any".
std::string OperationOf(const ExchangeFacts& facts);

// The errors that come before anything has been done, and those with reports.
const Words& ErrorsBeforeAnything();
const Words& ErrorsWithReports();

}  // namespace veltrane::simulation
