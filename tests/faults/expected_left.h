#pragma once

// What is left of the tunnel at the end of a story, by docs/operations.md, "What stays behind".

#include <optional>

#include "tests/faults/account.h"
#include "tests/faults/failure_kinds.h"
#include "tests/faults/walk.h"

namespace veltrane::faults {

// The call that failed changes it only where it is one by which that very thing is done.
TunnelTexts ExpectedLeft(const Account& account, const std::optional<Fault>& fault);

}  // namespace veltrane::faults
