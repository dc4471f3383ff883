#include "client/connect/tunnel_wait.h"

#include <algorithm>
#include <optional>

#include "client/exchange/exchange.h"
#include "client/exchange/reply.h"
#include "client/exchange/request.h"
#include "platform/clock.h"

namespace veltrane {
namespace {

constexpr int kSteadyAnswers = 3;
constexpr std::uint32_t kMostSeconds = 5;

// The status; nullopt when there is none to be had in about so many seconds.
std::optional<Reply> AskStatus(bool any_server, std::uint32_t seconds) {
  const WaitObserver nobody = [](std::uint32_t) {};
  ServicePipe service = OpenServicePipe(any_server, seconds, nobody);
  if (!service.pipe) return std::nullopt;
  const ExchangeResult result = Exchange(*service.pipe, PlainRequest("status"), nobody, seconds);
  if (!result.reply) return std::nullopt;
  std::optional<Reply> reply = ReadReply(*result.reply);
  return reply && reply->ok ? std::move(reply) : std::nullopt;
}

}  // namespace

TunnelWait WaitForTunnel(std::uint32_t seconds, bool any_server, const WaitObserver& observer) {
  const std::uint64_t begin = UptimeMilliseconds();
  int answers = 0;
  for (;;) {
    const auto passed = static_cast<std::uint32_t>((UptimeMilliseconds() - begin) / 1000);
    const std::uint32_t left = std::max(seconds, passed + 1) - passed;
    observer(passed);
    const std::optional<Reply> status = AskStatus(any_server, std::min(left, kMostSeconds));
    if (status) {
      const bool running = status->tunnel_running == true;
      if (status->phase != "connected") return {false, "the service is no longer connected"};
      if (!running && answers > 0) return {false, "the tunnel service ran and has stopped"};
      answers = running ? answers + 1 : 0;
    }
    if (answers == kSteadyAnswers) return {true, ""};
    if (passed >= seconds && (answers == 0 || !status)) {
      return {false, (status ? "the tunnel service did not run within "
                             : "the service did not say that its tunnel service runs within ") +
                         std::to_string(seconds) + " s"};
    }
    SleepMilliseconds(1000);
  }
}

}  // namespace veltrane
