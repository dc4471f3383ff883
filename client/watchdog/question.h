#pragma once

// Asking at the console whether the connection is to stay, and waiting for what comes of it.

#include <cstdint>
#include <string_view>

#include "client/screens/display.h"
#include "client/watchdog/confirmation.h"

namespace veltrane {

// The word to type.
inline constexpr std::string_view kKeepWord = "keep";

// Asks at the console to type the word, and waits for the outcome, whether it comes by that, by
// "veltranectl confirm" in another session, or because the time is up. What was typed before is
// thrown away. For an interactive console (platform/console_input.h) only.
Outcome AskAtConsole(Confirmation& confirmation, std::uint32_t seconds, Display& display);

// Waits until the connection has been undone, and shows that it does.
Outcome AwaitUndoing(Confirmation& confirmation, Display& display);

}  // namespace veltrane
