#include "client/commands.h"

#include <optional>
#include <utility>

#include "client/doctor/doctor.h"
#include "client/doctor/findings_screen.h"
#include "client/exchange/exchange.h"
#include "client/exchange/reply.h"
#include "client/exchange/request.h"
#include "client/failure.h"
#include "client/forecast/networks.h"
#include "client/profile/profile_file.h"
#include "client/screens/advice.h"
#include "client/screens/screens.h"
#include "client/text/quoting.h"
#include "client/text/utf8.h"
#include "platform/clock.h"

namespace veltrane {
namespace {

constexpr char kWaiting[] = "waiting for the service's reply (connecting can take 20 s)";
constexpr char kBusy[] = "waiting for another client to finish (30 s at most)";
constexpr std::uint32_t kBusySeconds = 30;
constexpr std::string_view kClearTerminal = "\x1b[H\x1b[2J";

ExitCode CodeOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kFine:
      return kExitFine;
    case Verdict::kWarnings:
      return kExitWarnings;
    case Verdict::kFailures:
      return kExitWouldFail;
    case Verdict::kRisks:
      break;
  }
  return kExitCouldCutOff;
}

// Prints a reply byte for byte. A terminal needs a line end too, and so does a series of replies.
void PrintAsReceived(const std::string& reply, bool in_series, Display& display) {
  display.Print(reply);
  if (in_series || display.OutputIsTerminal()) display.Print("\n");
}

// Shows a reply: as received with --json, otherwise as a screen, or as `line` when one is given and
// the request succeeded.
ExitCode ShowReply(const std::string& text, const std::string& line, const Options& options,
                   Display& display) {
  const bool json = options.json;
  if (json) PrintAsReceived(text, options.watch, display);
  const std::optional<Reply> reply = ReadReply(text);
  if (!reply) {
    display.Complain("the reply is not a JSON object: use --json to print it as received");
    return kExitNoReply;
  }
  if (!json && line.empty()) display.Print(ReplyScreen(*reply, display.OutputPainter()));
  if (!reply->ok) {
    display.Complain("the service refused: " + Shown(reply->error) + ", " + Shown(reply->message) +
                     ": " + AdviceFor(*reply));
    return kExitRefused;
  }
  if (!json) display.Print(line);
  return kExitDone;
}

// Whether the service replies at once or has work to do first.
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

// Sends a request and shows its reply, as ShowReply does.
ExitCode AskAndShow(const SecretText& request, Pace pace, const Options& options, Display& display,
                    const std::string& line = {}) {
  const ExchangeResult result = Ask(request, pace, options.any_server, display);
  if (!result.reply) return Fail(result.failure, options.json, display);
  return ShowReply(*result.reply, line, options, display);
}

ExitCode WatchOnce(const Options& options, Display& display) {
  const ExchangeResult result =
      Ask(PlainRequest("status"), Pace::kQuick, options.any_server, display);
  if (display.OutputIsTerminal() && !options.json) display.Print(kClearTerminal);
  if (!result.reply) return Fail(result.failure, options.json, display);
  return ShowReply(*result.reply, "", options, display);
}

ExitCode Watch(const Options& options, Display& display) {
  for (std::uint32_t round = 1;; ++round) {
    const ExitCode last = WatchOnce(options, display);
    if (round == options.times) return last;
    if (!options.json) {
      display.Print("\nevery " + std::to_string(options.every_seconds) +
                    " s; press Ctrl+C to stop\n");
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
  if (!file.profile) return Fail(kExitProfile, file.problem, options.json, display);
  const RequestBuilding building = ConnectRequest(*file.profile, options.session);
  if (!building.problem.empty()) {
    return Fail(kExitProfile, Printable(options.profile) + ": " + building.problem, options.json,
                display);
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
  if (!building.problem.empty()) return Fail(kExitUsage, building.problem, options.json, display);
  return AskAndShow(
      building.request, Pace::kQuick, options, display,
      options.nonce.empty() ? "session check turned off\n" : "session nonce registered\n");
}

ExitCode RunDoctor(const Options& options, Display& display) {
  SurveyQuestion question;
  question.any_server = options.any_server;
  if (!options.profile.empty()) {
    const std::string node_id = options.profile == "-" ? "standard-input" : "";
    const ProfileFile file = ReadProfileFile(options.profile, node_id);
    if (!file.profile) return Fail(kExitProfile, file.problem, options.json, display);
    question.allowed_ips = (*file.profile)[ProfileKey::kAllowedIps].View();
    question.address = (*file.profile)[ProfileKey::kAddress].View();
  }
  for (const std::string& text : options.from) question.asked.push_back(*ParseAddress(text));
  const Examination examination = Examine(question);
  display.Print(options.json ? ExaminationJson(examination)
                             : FindingsScreen(examination.findings, display.OutputPainter()));
  return CodeOf(examination.findings.Judge());
}

}  // namespace veltrane
