#pragma once

// What came of a run, in one line.

#include <string>
#include <vector>

#include "tests/faults/account.h"

namespace veltrane::faults {

// What the program said and did, the phase, and what is left on the machine: "connected fra-1
// (applied, 203.0.113.5:added;) | left: pinned 203.0.113.5, tunnel running, active.conf for fra-1 |
// after a disconnect: active.conf of zeros".
//
// What was there before the service came to it is not mentioned unless it is gone: "no 0.0.0.0/0
// via 192.168.1.1 if 12 metric 25". A pinned address has a host route through the office's gateway
// with metric 1; other routes are written out.
std::string Outcome(const Account& account);

// The same in fewer words, beside a run in which nothing fails. What is left after a disconnect is
// left out where it is the same. "as without a failure" stands for all of it, with "but for
// poc_route_guard/default_routes_before_tunnel" behind it when only members of the replies differ.
std::string Outcome(const Account& account, const Account& usual);

}  // namespace veltrane::faults
