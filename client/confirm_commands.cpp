// The commands about a connection that waits for its confirmation.

#include "client/commands.h"
#include "client/failure.h"
#include "client/watchdog/confirm.h"
#include "client/watchdog/watchdog.h"

namespace veltrane {

ExitCode RunConfirm(const Options& options, Display& display) {
  const auto fail = [&options, &display](ExitCode exit_code, const char* text) {
    return Fail(exit_code, text, options.json, display);
  };
  switch (Confirm()) {
    case ConfirmEnd::kConfirmed:
      break;
    case ConfirmEnd::kNobody:
      return fail(kExitUnreachable,
                  "nothing waits for a confirmation: veltranectl status");
    case ConfirmEnd::kEarly:
      return fail(kExitUnreachable,
                  "the service has not answered the connect yet: try again when it has");
    case ConfirmEnd::kDenied:
      return fail(kExitUnreachable,
                  "another user made the connection: confirm it as that user, or from an elevated "
                  "prompt");
    case ConfirmEnd::kLate:
      return fail(kExitUndone, "too late, the connection is being undone: veltranectl status");
    case ConfirmEnd::kNoReply:
      return fail(kExitNoReply,
                  "whatever serves the watchdog's pipe did not answer: veltranectl status");
  }
  display.Print(options.json ? "{\"ok\":true}\n" : "confirmed, the connection stays\n");
  return kExitDone;
}

ExitCode RunWatchdog(const Options& options, Display& display) {
  const Watch watch = {{options.node_id, options.any_server}, options.seconds};
  switch (KeepWatch(watch)) {
    case WatchEnd::kNoClient:
      break;
    case WatchEnd::kNotArmed:
      return kExitUnreachable;
    case WatchEnd::kNotSent:
    case WatchEnd::kRefused:
    case WatchEnd::kConfirmed:
      return kExitDone;
    case WatchEnd::kUndone:
      return kExitUndone;
    case WatchEnd::kNotUndone:
      return kExitNotUndone;
  }
  display.Complain("only connect --confirm starts a watchdog: veltranectl help connect");
  return kExitUsage;
}

}  // namespace veltrane
