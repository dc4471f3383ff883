#include "client/exchange/exchange.h"

#include <cstdint>
#include <utility>

namespace veltrane {
namespace {

constexpr std::uint32_t kRoundMilliseconds = 1000;
constexpr std::uint32_t kReplyRounds = 120;

ExchangeResult NoReply(std::string what, std::string next) {
  return {std::nullopt, {FailureKind::kNoReply, std::move(what), std::move(next)}};
}

}  // namespace

ExchangeResult Exchange(ClientPipe& pipe, const SecretText& request, const WaitObserver& observer) {
  if (!pipe.Send(request.View())) {
    return NoReply("the service closed the connection before it took the request", "try again");
  }
  observer(0);
  std::string reply;
  for (std::uint32_t seconds = 0; seconds < kReplyRounds;) {
    const std::size_t before = reply.size();
    if (pipe.Receive(kRoundMilliseconds, reply) == ClientPipe::Progress::kEnded) {
      if (!reply.empty()) return {std::move(reply), {}};
      return NoReply("the service closed the connection without replying",
                     "sc query VeltraneVpnTunnel");
    }
    if (reply.size() == before) observer(++seconds);
  }
  return NoReply("no reply within 120 s", "veltranectl doctor");
}

}  // namespace veltrane
