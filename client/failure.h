#pragma once

// Failures without a reply of the service's to show.

#include <string>

#include <nlohmann/json_fwd.hpp>

#include "client/exchange/service_pipe.h"
#include "client/exit_codes.h"
#include "client/screens/display.h"

namespace veltrane {

// Writes one line to standard error. With `json` also an object to standard output, with the word
// that docs/schema/client-error.schema.json has for this exit code. Returns the exit code.
ExitCode Fail(ExitCode exit_code, const std::string& text, bool json, Display& display);

// The same for a connect that was not sent because of kExitRisk; the object also has this member
// "forecast".
ExitCode FailAtRisk(const std::string& text, const nlohmann::ordered_json& forecast, bool json,
                    Display& display);

// The same for an exchange that failed.
ExitCode Fail(const ExchangeFailure& failure, bool json, Display& display);

}  // namespace veltrane
