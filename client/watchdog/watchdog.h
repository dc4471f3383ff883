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
  kNotSent,    // the client, its session or its time ended before anything was sent
  kRefused,    // the service refused the connect, or nothing could be sent
  kConfirmed,  // the connection stays
  kUndone,
  kNotUndone,
};

// The time within which the client sends: 30 s in which it waits for a busy pipe, and 30 s more.
inline constexpr std::uint32_t kSendSeconds = 60;

// The time within which it then says what the service has answered: 30 s to send the request, 120 s
// for the reply, and 20 s more.
inline constexpr std::uint32_t kAnswerSeconds = 170;

// Watches, and returns at the end. Once the client is about to send, the connection is undone at
// once
//   when the client's process ends, however and whenever that happens,
//   when the client says that it has lost the reply,
//   when the user's session ends,
//   when kAnswerSeconds have passed without a word from the client,
//   when `seconds` have passed after the service's answer;
// not after a confirmation or a refusal. An end of the client before that leaves everything as it
// was, a connection to the same node included. Sleep counts as time (platform/clock.h,
// UptimeMilliseconds), and a confirmation after the deadline is late, however late the process came
// to see either.
WatchEnd KeepWatch(const Watch& watch);

}  // namespace veltrane
