#pragma once

// The watchdog of "veltranectl connect --confirm": a process of its own that undoes the connection
// unless it is confirmed. words.h has what it says and hears.

#include <cstdint>

#include "client/watchdog/undoing.h"

namespace veltrane {

// What the watchdog watches over.
struct Watch {
  MadeConnection made;
  std::uint32_t seconds = 0;  // from the service's answer to the deadline
};

// How a watch ended.
enum class WatchEnd {
  kNoClient,   // the process was not started as a watchdog
  kNotArmed,   // there is another watchdog, or Windows does not let this one watch
  kRefused,    // the service refused the connect
  kConfirmed,  // the connection stays
  kUndone,
  kNotUndone,
};

// The time within which the client says what the service has answered: 30 s in which it waits for a
// busy pipe, 30 s to send the request, 120 s for the reply, and 20 s more.
inline constexpr std::uint32_t kAnswerSeconds = 200;

// Watches, and returns at the end. The connection is undone at once
//   when the client's process ends, however and whenever that happens,
//   when the client says that it has lost the reply,
//   when the user's session ends,
//   when kAnswerSeconds have passed without a word from the client,
//   when `seconds` have passed after the service's answer;
// not after a confirmation or a refusal. Sleep counts as time (platform/clock.h,
// UptimeMilliseconds), and a confirmation after the deadline is late, however late the process came
// to see either.
WatchEnd KeepWatch(const Watch& watch);

}  // namespace veltrane
