#include "client/commands.h"

#include <optional>
#include <utility>

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
constexpr std::string_view kClearTerminal = "\x1b[H\x1b[2J";

// How a reply is shown: as it came, as a screen, or by a line of its own when it is a success.
enum class Form { kJson, kScreen, kLine };

ExitCode Complain(ExitCode exit_code, const std::string& text, Display& display) {
  display.Complain(text);
  return exit_code;
}

ExitCode Fail(const ExchangeFailure& failure, Display& display) {
  return Complain(failure.exit_code, failure.what + ": " + failure.next, display);
}

// Prints a reply byte for byte; a terminal or a row of replies needs a line end too.
void PrintAsItCame(const std::string& reply, bool row, Display& display) {
  display.Print(reply);
  if (row || display.OutputIsTerminal()) display.Print("\n");
}

ExitCode ShowReply(const std::string& text, Form form, const std::string& line, Display& display) {
  if (form == Form::kJson) PrintAsItCame(text, false, display);
  const std::optional<Reply> reply = ReadReply(text);
  if (!reply) {
    return Fail({kExitNoReply, "the reply is no JSON object", "--json prints it as it came", false},
                display);
  }
  if (form == Form::kScreen) display.Print(ReplyScreen(*reply, display.OutputPainter()));
  if (!reply->ok) {
    return Fail(
        {kExitRefused, "the service refused: " + Shown(reply->error) + ", " + Shown(reply->message),
         AdviceFor(*reply), false},
        display);
  }
  if (form == Form::kLine) display.Print(line);
  return kExitDone;
}

// Whether the reply comes at once, or only after what the service has to do first.
enum class Pace { kQuick, kSlow };

ExchangeResult Exchange(const SecretText& request, bool any_server, Pace pace, Display& display) {
  Dialling dialling = DialService(any_server, kBusySeconds, [&display](std::uint32_t seconds) {
    display.ShowWait(kBusy, seconds);
  });
  display.EndWait();
  if (!dialling.pipe) return {std::nullopt, std::move(dialling.failure)};
  ExchangeResult result =
      ExchangeOver(*dialling.pipe, request, [&display, pace](std::uint32_t seconds) {
        if (seconds > 0) display.ShowWait(kWaiting, seconds);
        if (seconds == 0 && pace == Pace::kSlow) display.BeginWait(kWaiting);
      });
  display.EndWait();
  return result;
}

ExitCode ShowStatusOnce(const StatusOptions& options, Display& display) {
  const ExchangeResult result =
      Exchange(PlainRequest("status"), options.any_server, Pace::kQuick, display);
  if (options.watch && display.OutputIsTerminal() && !options.json) display.Print(kClearTerminal);
  if (!result.reply) return Fail(result.failure, display);
  if (options.watch && options.json) {
    PrintAsItCame(*result.reply, true, display);
    return kExitDone;
  }
  return ShowReply(*result.reply, options.json ? Form::kJson : Form::kScreen, "", display);
}

}  // namespace

ExitCode RunStatus(const StatusOptions& options, Display& display) {
  if (!options.watch) return ShowStatusOnce(options, display);
  ExitCode last = kExitDone;
  for (std::uint32_t round = 1;; ++round) {
    last = ShowStatusOnce(options, display);
    if (round == options.times) return last;
    if (!options.json) {
      display.Print("\nevery " + std::to_string(options.every_seconds) + " s; Ctrl+C ends\n");
    }
    SleepMilliseconds(options.every_seconds * 1000);
    if (!options.json && !display.OutputIsTerminal()) display.Print("\n");
  }
}

ExitCode RunConnect(const ConnectOptions& options, Display& display) {
  const ProfileFile file = ReadProfileFile(options.profile, options.node_id);
  if (!file.profile) return Complain(kExitProfile, file.problem, display);
  const RequestBuilding building = ConnectRequest(*file.profile, options.session);
  if (!building.problem.empty()) {
    return Complain(kExitProfile, Printable(options.profile) + ": " + building.problem, display);
  }
  if (!options.json) {
    display.Print(ProfileScreen(*file.profile, options.session, display.OutputPainter()) + "\n");
  }
  const ExchangeResult result =
      Exchange(building.request, options.any_server, Pace::kSlow, display);
  if (!result.reply) return Fail(result.failure, display);
  return ShowReply(*result.reply, options.json ? Form::kJson : Form::kScreen, "", display);
}

ExitCode RunDisconnect(const DisconnectOptions& options, Display& display) {
  const ExchangeResult result =
      Exchange(PlainRequest("disconnect"), options.any_server, Pace::kSlow, display);
  if (!result.reply) return Fail(result.failure, display);
  return ShowReply(*result.reply, options.json ? Form::kJson : Form::kScreen, "", display);
}

ExitCode RunRegister(const RegisterOptions& options, Display& display) {
  const RequestBuilding building = RegisterRequest(options.nonce);
  if (!building.problem.empty()) return Complain(kExitUsage, building.problem, display);
  const ExchangeResult result =
      Exchange(building.request, options.any_server, Pace::kQuick, display);
  if (!result.reply) return Fail(result.failure, display);
  const char* line =
      options.nonce.empty() ? "session check switched off\n" : "session nonce registered\n";
  return ShowReply(*result.reply, options.json ? Form::kJson : Form::kLine, line, display);
}

}  // namespace veltrane
