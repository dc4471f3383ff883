#pragma once

// What the facts about the registered service prove of its settings; service_settings.h has the
// rules. Pure functions.

#include <string>
#include <vector>

#include "client/survey/registered_facts.h"

namespace veltrane {

KnownSettings FindRegisteredSettings(const RegisteredFacts& facts);

// Returns every value that the setting is seen to have now: in the service's own value, the machine
// scope and the account's.
std::vector<std::string> ListValuesSeen(const RegisteredFacts& facts, Setting setting);

}  // namespace veltrane
