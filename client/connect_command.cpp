// The command connect.

#include <string>

#include "client/connect/split_default.h"
#include "client/connect_probation.h"
#include "client/connect_risks.h"
#include "client/conversation.h"
#include "client/exchange/request.h"
#include "client/failure.h"
#include "client/profile/profile_file.h"
#include "client/screens/screens.h"
#include "client/text/utf8.h"
#include "platform/console_input.h"

namespace veltrane {
namespace {

ExitCode Connect(const SecretText& request, const Options& options, Display& display) {
  const ExitCode answered = AskAndShow(request, Pace::kSlow, options, display);
  return answered == kExitDone ? AwaitTunnel(options, display) : answered;
}

}  // namespace

ExitCode RunConnect(const Options& options, Display& display) {
  ProfileFile file = ReadProfileFile(options.profile, options.node_id);
  if (!file.profile) return Fail(kExitProfile, file.problem, options.json, display);
  Profile& profile = *file.profile;
  SplitList split;
  if (options.split_default) {
    split = SplitDefault(profile[ProfileKey::kAllowedIps].View());
    if (!split.problem.empty()) {
      return Fail(kExitProfile, Printable(options.profile) + ": " + split.problem, options.json,
                  display);
    }
    profile[ProfileKey::kAllowedIps].text = SecretText(split.allowed_ips);
  }
  const RequestBuilding building = ConnectRequest(profile, options.session);
  if (!building.problem.empty()) {
    return Fail(kExitProfile, Printable(options.profile) + ": " + building.problem, options.json,
                display);
  }
  if (options.confirm_seconds > 0 && options.json) {
    return Fail(kExitUsage, "--confirm asks at the console and excludes --json", true, display);
  }
  if (options.confirm_seconds > 0 && options.wait_seconds >= options.confirm_seconds) {
    return Fail(kExitUsage, "--confirm takes more seconds than --wait, which is part of them",
                false, display);
  }
  if (options.confirm_seconds > 0 && !IsConsoleInteractive()) {
    return Fail(kExitUsage,
                "--confirm asks at the console, and this is not an interactive one: run it at a "
                "prompt, without redirection",
                options.json, display);
  }
  if (const Objection objection = CheckRisks(profile, split, options, display)) return *objection;
  if (!options.json) {
    display.Print(ProfileScreen(profile, options.session, display.OutputPainter()) + "\n");
  }
  return options.confirm_seconds > 0
             ? ConnectOnProbation(building.request, profile, options, display)
             : Connect(building.request, options, display);
}

}  // namespace veltrane
