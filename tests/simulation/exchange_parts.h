#pragma once

// What the invariants of exchanges read out of the facts.

#include <cstddef>
#include <optional>
#include <set>
#include <string>

#include "tests/simulation/facts.h"
#include "tests/simulation/wire.h"

namespace veltrane::simulation {

using Words = std::set<std::string>;

// The parts of a reply that is JSON; nullopt when there is none.
std::optional<Reply> ReplyIn(const ExchangeFacts& facts);

// The parts of the reply to a connect that succeeded; nullopt for any other. Those of the reply to
// one that was refused.
std::optional<Reply> SuccessIn(const ExchangeFacts& facts);
std::optional<Reply> RefusalIn(const ExchangeFacts& facts);

// "status", "register_session", "connect", "disconnect", or "any".
std::string OperationOf(const ExchangeFacts& facts);

// The errors that come before anything has been done, and those with reports.
const Words& ErrorsBeforeAnything();
const Words& ErrorsWithReports();

// A connect verifies its required addresses with one look at the table each, in their order.
// FirstLost says which of the looks from `first` on did not find its address, and LastLost the same
// of the last looks of all: that address, empty when there is none, and "a look" when a look is
// missing.
std::string FirstLost(const ExchangeFacts& facts, std::size_t first);
std::string LastLost(const ExchangeFacts& facts);

// Between the verification and the start of the tunnel, and again between the start and the next
// look of the guard or the bypass, there are this many looks for the guard report.
inline constexpr std::size_t kSnapshots = 2;

// Whether a look found the route to the address that a connect pins.
bool Found(const Look& look, const ShownFacts& shown, const std::string& address);

// Whether a call of one of these names failed; after the start of the tunnel.
bool Failed(const ExchangeFacts& facts, const Words& names);
bool FailedAfterStart(const ExchangeFacts& facts, const Words& names);

}  // namespace veltrane::simulation
