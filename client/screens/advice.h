#pragma once

#include <string>

#include "client/exchange/reply.h"

namespace veltrane {

// What to do about an error reply, without a full stop. There is advice for every error code of the
// service, made more exact by the failure reasons in the reports.
std::string AdviceFor(const Reply& reply);

}  // namespace veltrane
