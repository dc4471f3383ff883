#include "client/connect_probation.h"

#include <optional>
#include <string>

#include "client/connect/tunnel_wait.h"
#include "client/conversation.h"
#include "client/exchange/reply.h"
#include "client/failure.h"
#include "client/watchdog/question.h"

namespace veltrane {
namespace {

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
  Arming arming =
      Confirmation::Arm(options.confirm_seconds, std::string(profile[ProfileKey::kNodeId].View()),
                        options.any_server);
  if (!arming.confirmation) {
    return Fail(kExitUnreachable, "nothing was sent: " + arming.problem, options.json, display);
  }
  Confirmation& confirmation = *arming.confirmation;
  if (!confirmation.HasLeftJob()) {
    display.Complain("warning: the watchdog could not leave this program's job and ends with it");
  }
  const ExchangeResult result = Ask(request, Pace::kSlow, options.any_server, display);
  const Answer answer = Classify(result);
  // The watchdog first: a console that is being read may hold up whatever is printed.
  if (answer == Answer::kConnected) confirmation.SayAnswered();
  if (answer == Answer::kRefused || answer == Answer::kNotSent) confirmation.SayRefused();
  const ExitCode shown = result.reply ? ShowReply(*result.reply, "", options, display)
                                      : Fail(result.failure, options.json, display);
  if (answer == Answer::kLost) return UndoNow(confirmation, display);
  if (answer != Answer::kConnected) return shown;
  if (AwaitTunnel(options, display) != kExitDone) return UndoNow(confirmation, display);
  return Conclude(AskAtConsole(confirmation, options.confirm_seconds, display), display);
}

}  // namespace veltrane
