#include "client/commands.h"

#include <string>
#include <string_view>

#include "client/conversation.h"
#include "client/doctor/doctor.h"
#include "client/doctor/findings_screen.h"
#include "client/exchange/request.h"
#include "client/failure.h"
#include "client/forecast/networks.h"
#include "client/profile/profile_file.h"
#include "platform/clock.h"

namespace veltrane {
namespace {

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
  question.asked = ParseAddresses(options.from);
  const Examination examination = Examine(question);
  display.Print(options.json ? ExaminationJson(examination)
                             : FindingsScreen(examination.findings, display.OutputPainter()));
  return CodeOf(examination.findings.Judge());
}

}  // namespace veltrane
