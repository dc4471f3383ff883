#pragma once

// Asking the service and showing what it answers, for every command.

#include <string>

#include "client/commands.h"
#include "client/exchange/exchange.h"
#include "client/exit_codes.h"
#include "client/screens/display.h"
#include "client/text/secret_text.h"

namespace veltrane {

// Whether the service replies at once or has work to do first.
enum class Pace { kQuick, kSlow };

// Sends a request and waits for the reply, and says on standard error that it does.
ExchangeResult Ask(const SecretText& request, Pace pace, bool any_server, Display& display);

// Shows a reply: as received with --json, otherwise as a screen, or as `line` when one is given and
// the request succeeded.
ExitCode ShowReply(const std::string& text, const std::string& line, const Options& options,
                   Display& display);

// Both; `line` is that of ShowReply.
ExitCode AskAndShow(const SecretText& request, Pace pace, const Options& options, Display& display,
                    const std::string& line = {});

}  // namespace veltrane
