#pragma once

// The phase in which the connection must be, after what the program has answered: one, or several
// where the rules leave it open.

#include <set>

#include "tests/simulation/facts.h"

namespace veltrane::simulation {

class PossiblePhases {
 public:
  const std::set<Phase>& Now() const { return now_; }

  // A process has begun, a timer has torn down, a request has been answered.
  void OnBegin() { now_ = {kDisconnected}; }
  void OnTimerEnd() { now_ = {kDisconnected}; }
  void OnExchange(const ExchangeFacts& facts, bool connect_has_begun);

 private:
  static inline const Phase kDisconnected = {"disconnected", ""};

  std::set<Phase> AfterConnect(const ExchangeFacts& facts, bool connect_has_begun) const;

  std::set<Phase> now_ = {kDisconnected};
};

}  // namespace veltrane::simulation
