#include "client/conversation.h"

#include <cstdint>
#include <optional>
#include <utility>

#include "client/exchange/reply.h"
#include "client/failure.h"
#include "client/screens/advice.h"
#include "client/screens/screens.h"
#include "client/text/quoting.h"

namespace veltrane {
namespace {

constexpr char kWaiting[] = "waiting for the service's reply (connecting can take 20 s)";
constexpr char kBusy[] = "waiting for another client to finish (30 s at most)";
constexpr std::uint32_t kBusySeconds = 30;

// Prints a reply byte for byte. A terminal needs a line end too, and so does a series of replies.
void PrintAsReceived(const std::string& reply, bool in_series, Display& display) {
  display.Print(reply);
  if (in_series || display.OutputIsTerminal()) display.Print("\n");
}

}  // namespace

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

ExitCode AskAndShow(const SecretText& request, Pace pace, const Options& options, Display& display,
                    const std::string& line) {
  const ExchangeResult result = Ask(request, pace, options.any_server, display);
  if (!result.reply) return Fail(result.failure, options.json, display);
  return ShowReply(*result.reply, line, options, display);
}

}  // namespace veltrane
