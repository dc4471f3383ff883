#include "client/connect_risks.h"

#include <algorithm>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "client/connect/caution.h"
#include "client/connect/prompt.h"
#include "client/failure.h"
#include "client/forecast/networks.h"
#include "client/screens/forecast_texts.h"
#include "client/text/split.h"
#include "client/text/utf8.h"

namespace veltrane {
namespace {

constexpr char kAcceptTheRisk[] =
    "--accept-risk lose-remote-administration, better with --confirm SECONDS";

bool Accepts(const Options& options, const std::string& risk) {
  return std::find(options.accepted_risks.begin(), options.accepted_risks.end(), risk) !=
         options.accepted_risks.end();
}

bool GuardIsProvedOff(const Situation& situation) {
  return std::none_of(situation.worlds.begin(), situation.worlds.end(),
                      [](const World& world) { return world.guard; });
}

// Objects to halves that the guard would not see, and to those past which packets would leak.
Objection CheckSplit(const SplitList& split, const Situation& situation, const Options& options,
                     Display& display) {
  if (!split.split_ipv4 && !split.split_ipv6) return std::nullopt;
  if (!GuardIsProvedOff(situation)) {
    return FailAtRisk(
        "--split-default: the default-route guard, which does not see halves, is on or may be: "
        "veltranectl doctor says which setting decides",
        nlohmann::ordered_json::array(), options.json, display);
  }
  const std::optional<IpFamily> leak = FindLeak(split, situation);
  if (leak && !Accepts(options, "leaks")) {
    const bool ipv6 = *leak == IpFamily::kIpv6;
    return FailAtRisk(std::string("--split-default: ") + (ipv6 ? "IPv6" : "IPv4") +
                          " would go past the tunnel, where the catch-all blocks it: add " +
                          (ipv6 ? "::/0" : "0.0.0.0/0") + " to AllowedIPs, or --accept-risk leaks",
                      nlohmann::ordered_json::array(), options.json, display);
  }
  display.Complain(
      "halves in place of the catch-all: the WireGuard library neither restricts DNS to the "
      "tunnel's servers nor blocks what is not tunnelled");
  return std::nullopt;
}

void ShowOutlooks(const std::vector<Outlook>& outlooks, bool assumed, Display& display) {
  for (const Outlook& outlook : outlooks) {
    display.Print(Printable(AddressText(outlook.subject.address) + ", " + SummaryOf(outlook) +
                            ": " + DetailOf(outlook, assumed)) +
                  "\n");
    const std::string fix = FixOf(outlook);
    const char* label = "  fix: ";
    for (const std::string_view line : Split(fix, '\n')) {
      if (!line.empty()) display.Print(label + Printable(line) + "\n");
      label = "       ";
    }
  }
}

// Objects to a connect that would cut off somebody who is connected; warns about others.
Objection CheckForecast(const Caution& caution, const Options& options, Display& display) {
  if (caution.stops && !Accepts(options, "lose-remote-administration")) {
    if (!options.json) ShowOutlooks(caution.outlooks, options.any_server, display);
    return FailAtRisk("nothing was sent: " + caution.reason + ": " +
                          (caution.origin_is_missing ? "say it with --from ADDRESS"
                                                     : "veltranectl doctor PROFILE") +
                          ", or " + kAcceptTheRisk,
                      ForecastJson(caution.outlooks, options.any_server), options.json, display);
  }
  if (caution.stops) display.Complain("warning: " + caution.reason);
  for (const Outlook& outlook : caution.outlooks) {
    display.Complain("warning: " +
                     Printable(AddressText(outlook.subject.address) + ", " + SummaryOf(outlook) +
                               ": " + DetailOf(outlook, options.any_server)));
  }
  return std::nullopt;
}

}  // namespace

Objection CheckRisks(const Profile& profile, const SplitList& split, const Options& options,
                     Display& display) {
  const Prompt prompt = ReadPrompt(ParseAddresses(options.from));
  SurveyQuestion question;
  question.any_server = options.any_server;
  question.allowed_ips = profile[ProfileKey::kAllowedIps].View();
  question.address = profile[ProfileKey::kAddress].View();
  question.asked = prompt.named;
  question.prompt = prompt.connections;
  const Survey survey = SurveyMachine(question);
  if (const Objection objection = CheckSplit(split, survey.situation, options, display)) {
    return objection;
  }
  return CheckForecast(Weigh(survey, MakeForecast(survey.situation), prompt), options, display);
}

}  // namespace veltrane
