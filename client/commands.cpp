#include "client/commands.h"

#include <optional>
#include <utility>

#include "client/doctor/doctor.h"
#include "client/doctor/findings_screen.h"
#include "client/exchange/exchange.h"
#include "client/exchange/reply.h"
#include "client/exchange/request.h"
#include "client/profile/profile_file.h"
#include "client/screens/advice.h"
#include "client/screens/screens.h"
#include "client/text/quoting.h"
#include "client/text/utf8.h"
#include "platform/clock.h"

namespace veltrane {
namespace {

constexpr char kWaiting[] = "waiting for the service's reply (a connect can take 20 s)";
constexpr char kBusy[] = "waiting for another client to be done (30 s at most)";
constexpr std::uint32_t kBusySeconds = 30;
constexpr std::string_view kClearTerminal = "\x1b[H\x1b[2J";

ExitCode Complain(ExitCode exit_code, const std::string& text, Display& display) {
  display.Complain(text);
  return exit_code;
}

ExitCode CodeOf(FailureKind kind) {
  switch (kind) {
    case FailureKind::kUnreachable:
    case FailureKind::kBusy:
      return kExitUnreachable;
    case FailureKind::kUntrusted:
      return kExitUntrusted;
    case FailureKind::kNoReply:
      break;
  }
  return kExitNoReply;
}

ExitCode CodeOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kFine:
      return kExitFine;
    case Verdict::kWarnings:
      return kExitWarnings;
    case Verdict::kRefused:
      break;
  }
  return kExitWouldBeRefused;
}

ExitCode Fail(const ExchangeFailure& failure, Display& display) {
  return Complain(CodeOf(failure.kind), failure.what + ": " + failure.next, display);
}

// Prints a reply byte for byte; a terminal or a row of replies needs a line end too.
void PrintAsItCame(const std::string& reply, bool row, Display& display) {
  display.Print(reply);
  if (row || display.OutputIsTerminal()) display.Print("\n");
}

// Shows a reply as it came with --json. Otherwise a success is shown by the line, if there is one,
// and everything else as a screen.
ExitCode ShowReply(const std::string& text, const std::string& line, bool json, Display& display) {
  if (json) PrintAsItCame(text, false, display);
  const std::optional<Reply> reply = ReadReply(text);
  if (!reply) {
    return Complain(kExitNoReply, "the reply is no JSON object: --json prints it as it came",
                    display);
  }
  if (!json && line.empty()) display.Print(ReplyScreen(*reply, display.OutputPainter()));
  if (!reply->ok) {
    return Complain(kExitRefused,
                    "the service refused: " + Shown(reply->error) + ", " + Shown(reply->message) +
                        ": " + AdviceFor(*reply),
                    display);
  }
  if (!json) display.Print(line);
  return kExitDone;
}

// Whether the reply comes at once, or only after what the service has to do first.
enum class Pace { kQuick, kSlow };

ExchangeResult Ask(const SecretText& request, Pace pace, bool any_server, Display& display) {
  ServicePipe service =
      OpenServicePipe(any_server, kBusySeconds,
                      [&display](std::uint32_t seconds) { display.ShowWait(kBusy, seconds); });
  display.EndWait();
  if (!service.pipe) return {std::nullopt, std::move(service.failure)};
  ExchangeResult result = Exchange(*service.pipe, request, [&display, pace](std::uint32_t seconds) {
    if (seconds > 0) display.ShowWait(kWaiting, seconds);
    if (seconds == 0 && pace == Pace::kSlow) display.BeginWait(kWaiting);
  });
  display.EndWait();
  return result;
}

// Sends a request and shows its reply, a success by the line if there is one.
ExitCode AskAndShow(const SecretText& request, Pace pace, const Options& options, Display& display,
                    const std::string& line = {}) {
  const ExchangeResult result = Ask(request, pace, options.any_server, display);
  if (!result.reply) return Fail(result.failure, display);
  return ShowReply(*result.reply, line, options.json, display);
}

ExitCode WatchOnce(const Options& options, Display& display) {
  const ExchangeResult result =
      Ask(PlainRequest("status"), Pace::kQuick, options.any_server, display);
  if (display.OutputIsTerminal() && !options.json) display.Print(kClearTerminal);
  if (!result.reply) return Fail(result.failure, display);
  if (!options.json) return ShowReply(*result.reply, "", false, display);
  PrintAsItCame(*result.reply, true, display);
  return kExitDone;
}

ExitCode Watch(const Options& options, Display& display) {
  for (std::uint32_t round = 1;; ++round) {
    const ExitCode last = WatchOnce(options, display);
    if (round == options.times) return last;
    if (!options.json) {
      display.Print("\nevery " + std::to_string(options.every_seconds) + " s; Ctrl+C ends\n");
    }
    SleepMilliseconds(options.every_seconds * 1000);
    if (!options.json && !display.OutputIsTerminal()) display.Print("\n");
  }
}

}  // namespace

ExitCode RunStatus(const Options& options, Display& display) {
  if (options.watch) return Watch(options, display);
  return AskAndShow(PlainRequest("status"), Pace::kQuick, options, display);
}

ExitCode RunConnect(const Options& options, Display& display) {
  const ProfileFile file = ReadProfileFile(options.profile, options.node_id);
  if (!file.profile) return Complain(kExitProfile, file.problem, display);
  const RequestBuilding building = ConnectRequest(*file.profile, options.session);
  if (!building.problem.empty()) {
    return Complain(kExitProfile, Printable(options.profile) + ": " + building.problem, display);
  }
  if (!options.json) {
    display.Print(ProfileScreen(*file.profile, options.session, display.OutputPainter()) + "\n");
  }
  return AskAndShow(building.request, Pace::kSlow, options, display);
}

ExitCode RunDisconnect(const Options& options, Display& display) {
  return AskAndShow(PlainRequest("disconnect"), Pace::kSlow, options, display);
}

ExitCode RunRegister(const Options& options, Display& display) {
  const RequestBuilding building = RegisterRequest(options.nonce);
  if (!building.problem.empty()) return Complain(kExitUsage, building.problem, display);
  return AskAndShow(
      building.request, Pace::kQuick, options, display,
      options.nonce.empty() ? "session check switched off\n" : "session nonce registered\n");
}

ExitCode RunDoctor(const Options& options, Display& display) {
  const Findings findings = Examine(options.any_server);
  display.Print(options.json ? FindingsJson(findings)
                             : FindingsScreen(findings, display.OutputPainter()));
  return CodeOf(findings.Judge());
}

}  // namespace veltrane
