#pragma once

// The watchdog, as connect uses it:
//
//   Arming arming = Confirmation::Arm(seconds, node_id, any_server);  // before the request is sent
//   if (!arming.confirmation) ...                                     // nothing may be sent
//   ... opens the service's pipe ...
//   if (!confirmation.SaySending()) ...    // nothing may be sent
//   ... the exchange ...
//   confirmation.SayAnswered();            // before anything is printed: a console may block
//   AskAtConsole(confirmation, seconds, display)  // client/watchdog/question.h; or AwaitOutcome
//
// From SaySending on, the connection is undone unless SayRefused or SayConfirmed was called in
// time. A Confirmation that is destroyed, or ends with the process, stands for an end of the
// client. When the watchdog ends without a word, as when somebody kills it, or before it has heard
// of the service's answer, this process undoes the connection itself.

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "client/exchange/service_pipe.h"
#include "client/watchdog/undoing.h"
#include "platform/watchdog.h"

namespace veltrane {

enum class OutcomeKind {
  kConfirmed,  // the connection stays
  kUndone,     // the watchdog has undone it
  kNotUndone,  // it could not
};

// What came of the connection. The text says so in whole, with what is left or what to do, and
// without a full stop; it is printable.
struct Outcome {
  OutcomeKind kind = OutcomeKind::kNotUndone;
  std::string text;
};

struct Arming;

// An armed watchdog.
class Confirmation {
 public:
  // Starts the watchdog and waits up to 15 s until it is armed. `node_id` is that of the profile.
  static Arming Arm(std::uint32_t seconds, const std::string& node_id, bool any_server);

  // False when the watchdog would be killed together with the job that this process is in.
  bool HasLeftJob() const { return watchdog_.HasLeftJob(); }

  // The request is about to be sent. Waits up to 15 s until the watchdog has heard it; false when
  // it has not, and then nothing may be sent. To be called last before that, with the service's
  // pipe open: the watchdog needs that pipe to undo anything, so that it undoes nothing before the
  // request has come through.
  bool SaySending();

  // What the service answered, said once: the connection is made, and the time runs from now; an
  // explicit refusal, or that nothing could be sent, after which the watchdog leaves; no reply, or
  // none that can be read. The first returns false when the watchdog does not hear it any more: the
  // outcome is then that of an undoing by this process.
  bool SayAnswered();
  void SayRefused();
  void SayLost();

  // The person wants to keep the connection. Whether that was in time, the outcome says.
  void SayConfirmed();

  // Waits at most this long for the outcome, unless the watchdog has ended without one; nullopt
  // when there is none yet.
  std::optional<Outcome> Hear(std::uint32_t milliseconds);

  // Waits for the outcome, which comes: the watchdog ends by its own clock. The observer is called
  // about once a second.
  Outcome AwaitOutcome(const WaitObserver& observer);

 private:
  Confirmation(Watchdog watchdog, MadeConnection made)
      : watchdog_(std::move(watchdog)), made_(std::move(made)) {}

  // Undoes the connection without the watchdog; `why` says what became of that.
  Outcome UndoHere(const std::string& why);

  Watchdog watchdog_;
  MadeConnection made_;
  bool heard_answer_ = true;  // false when the watchdog did not hear of the answer
};

// An armed watchdog, or why there is none and what to do, without a full stop.
struct Arming {
  std::optional<Confirmation> confirmation;
  std::string problem;
};

}  // namespace veltrane
