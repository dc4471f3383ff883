#pragma once

// One run of a story, in a process of its own.

#include <optional>

#include "tests/faults/account.h"
#include "tests/faults/failure_kinds.h"
#include "tests/faults/story.h"

namespace veltrane::faults {

// Runs a story on a fresh machine, with one call of it failing, or none, and says what came of it.
Account Run(const Story& story, const std::optional<Fault>& fault);

// Ends the calling process when it takes far longer than any run.
void LimitTime();

}  // namespace veltrane::faults
