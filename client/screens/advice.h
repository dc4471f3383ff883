#pragma once

#include <string>

#include "client/exchange/reply.h"

namespace veltrane {

// What to do about an error reply, as the end of a line without a full stop. Every error code of
// the service has one; the failure reasons in the reports make it more exact.
std::string AdviceFor(const Reply& reply);

}  // namespace veltrane
