#include "client/connect_probation.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "client/connect/tunnel_wait.h"
#include "client/conversation.h"
#include "client/exchange/reply.h"
#include "client/exchange/service_pipe.h"
#include "client/failure.h"
#include "client/watchdog/question.h"
#include "platform/clock.h"

namespace veltrane {
namespace {

constexpr std::uint32_t kBusySeconds = 30;
constexpr char kTunnelWait[] = "waiting for the tunnel service to run";

ExitCode Conclude(const Outcome& outcome, Display& display) {
  if (outcome.kind == OutcomeKind::kConfirmed) {
    display.Print(outcome.text + "\n");
    return kExitDone;
  }
  display.Complain(outcome.text);
  return outcome.kind == OutcomeKind::kUndone ? kExitUndone : kExitNotUndone;
}

ExitCode UndoNow(Confirmation& confirmation, Display& display) {
  confirmation.SayLost();
  const Outcome outcome = confirmation.AwaitOutcome([&display](std::uint32_t seconds) {
    display.ShowWait("waiting until the connection has been undone", seconds);
  });
  display.EndWait();
  return Conclude(outcome, display);
}

// Sends the request and waits for the reply. Nothing is printed meanwhile: a console in which
// somebody selects text would hold it up. Sends nothing when the watchdog does not hear of it.
ExchangeResult AskQuietly(const SecretText& request, bool any_server, Confirmation& confirmation) {
  const WaitObserver nobody = [](std::uint32_t) {};
  ServicePipe service = OpenServicePipe(any_server, kBusySeconds, nobody);
  if (!service.pipe) return {std::nullopt, std::move(service.failure)};
  if (!confirmation.SaySending()) {
    return {std::nullopt,
            {.kind = FailureKind::kUnreachable,
             .what = "nothing was sent, because the watchdog has ended",
             .next = "try again"}};
  }
  return Exchange(*service.pipe, request, nobody);
}

// What the service has answered, as the watchdog must know it.
enum class Answer { kConnected, kRefused, kNotSent, kLost };

Answer Classify(const ExchangeResult& result) {
  if (!result.reply) {
    return result.failure.kind == FailureKind::kNoReply ? Answer::kLost : Answer::kNotSent;
  }
  const std::optional<Reply> reply = ReadReply(*result.reply);
  if (!reply) return Answer::kLost;
  return reply->ok ? Answer::kConnected : Answer::kRefused;
}

}  // namespace

ExitCode AwaitTunnel(const Options& options, Display& display) {
  if (options.wait_seconds == 0) return kExitDone;
  const TunnelWait wait =
      WaitForTunnel(options.wait_seconds, options.any_server, [&display](std::uint32_t seconds) {
        if (seconds > 0) display.ShowWait(kTunnelWait, seconds);
      });
  display.EndWait();
  if (wait.up) return kExitDone;
  display.Complain(wait.text + ": veltranectl status");
  return kExitNotRunning;
}

ExitCode ConnectOnProbation(const SecretText& request, const Profile& profile,
                            const Options& options, Display& display) {
  display.Complain("waiting for the service's reply (connecting can take 20 s)");
  Arming arming =
      Confirmation::Arm(options.confirm_seconds, std::string(profile[ProfileKey::kNodeId].View()),
                        options.any_server);
  if (!arming.confirmation) {
    return Fail(kExitUnreachable, "nothing was sent: " + arming.problem, false, display);
  }
  Confirmation& confirmation = *arming.confirmation;
  const ExchangeResult result = AskQuietly(request, options.any_server, confirmation);
  const Answer answer = Classify(result);
  const std::uint64_t answered = UptimeMilliseconds();
  const bool heard = answer != Answer::kConnected || confirmation.SayAnswered();
  if (answer == Answer::kRefused || answer == Answer::kNotSent) confirmation.SayRefused();
  const ExitCode shown = result.reply ? ShowReply(*result.reply, "", options, display)
                                      : Fail(result.failure, false, display);
  if (answer == Answer::kLost || !heard) return UndoNow(confirmation, display);
  if (answer != Answer::kConnected) return shown;
  if (!confirmation.HasLeftJob()) {
    display.Complain(
        "warning: the watchdog runs in the same job as this program, as in some remote shells and "
        "schedulers: whatever ends that job leaves the connection up");
  }
  if (AwaitTunnel(options, display) != kExitDone) {
    const ExitCode undone = UndoNow(confirmation, display);
    return undone == kExitDone ? kExitNotRunning : undone;
  }
  const auto passed = static_cast<std::uint32_t>((UptimeMilliseconds() - answered) / 1000);
  const std::uint32_t left = std::max(options.confirm_seconds, passed + 1) - passed;
  return Conclude(AskAtConsole(confirmation, left, display), display);
}

}  // namespace veltrane
