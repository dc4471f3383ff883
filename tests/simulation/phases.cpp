#include "tests/simulation/phases.h"

#include "tests/simulation/exchange_parts.h"

namespace veltrane::simulation {

// docs/protocol.md: "A connect that fails after its profile check leaves the phase disconnected",
// and so does a disconnect; nothing else changes it. Of a timer that tears down beside a request it
// is not known which of the two set the phase last.
void PossiblePhases::OnExchange(const ExchangeFacts& facts, bool connect_has_begun) {
  const std::string operation = OperationOf(facts);
  if (operation == "disconnect") now_ = {kDisconnected};
  if (operation == "connect") now_ = AfterConnect(facts, connect_has_begun);
  if (facts.beside_timer) now_.insert(kDisconnected);
  const auto reply = ReplyIn(facts);
  if (operation != "status" || !reply || now_.size() == 1) return;
  const Phase said = {reply->phase, reply->node};
  if (now_.contains(said) && !facts.beside_timer) now_ = {said};
}

// A reply that was lost, or that the client's own text has broken, may have been either.
std::set<Phase> PossiblePhases::AfterConnect(const ExchangeFacts& facts,
                                             bool connect_has_begun) const {
  if (!connect_has_begun) return now_;
  const Phase connected = {"connected", facts.wished_node};
  const auto reply = ReplyIn(facts);
  if (reply) return {reply->ok ? connected : kDisconnected};
  if (!facts.started) return {kDisconnected};
  return {connected, kDisconnected};
}

}  // namespace veltrane::simulation
