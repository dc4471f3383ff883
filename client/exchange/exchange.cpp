#include "client/exchange/exchange.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "platform/clock.h"

namespace veltrane {
namespace {

constexpr std::uint32_t kRoundMilliseconds = 1000;
constexpr std::size_t kLargestReply = std::size_t{1} << 20;

ExchangeResult NoReply(std::string what, std::string next) {
  return {std::nullopt, {FailureKind::kNoReply, std::move(what), std::move(next)}};
}

}  // namespace

ExchangeResult Exchange(ClientPipe& pipe, const SecretText& request, const WaitObserver& observer,
                        std::uint32_t reply_seconds) {
  if (!pipe.Send(request.View())) {
    return NoReply("the service closed the connection before it took the request", "try again");
  }
  observer(0);
  std::string reply;
  std::int64_t waited = 0;  // in ticks
  std::uint32_t seconds = 0;
  while (waited < reply_seconds * kTicksPerSecond) {
    const std::int64_t before = UtcTicks();
    if (pipe.Receive(kRoundMilliseconds, reply) == ClientPipe::Progress::kEnded) {
      if (!reply.empty()) return {std::move(reply), {}};
      return NoReply("the service closed the connection without replying",
                     "sc.exe query VeltraneVpnTunnel");
    }
    if (reply.size() > kLargestReply) {
      return NoReply("the reply is longer than 1048576 bytes", "veltranectl doctor");
    }
    // Setting the clock, in either direction, changes the whole wait by one round at most.
    waited += std::clamp<std::int64_t>(UtcTicks() - before, 0, kTicksPerSecond);
    while (seconds < waited / kTicksPerSecond) observer(++seconds);
  }
  const std::string time = std::to_string(reply_seconds) + " s";
  return NoReply(reply.empty() ? "no reply within " + time : "the reply did not end within " + time,
                 "veltranectl doctor");
}

}  // namespace veltrane
