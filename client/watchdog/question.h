#pragma once

// Asking at the console whether the connection is to stay.

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

}  // namespace veltrane
