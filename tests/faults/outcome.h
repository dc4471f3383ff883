#pragma once

// What came of a run, in one line.

#include <string>
#include <vector>

#include "tests/faults/account.h"

namespace veltrane::faults {

// "connected fra-1 (applied; 203.0.113.5:added;) | left: 203.0.113.5/32 via 192.168.1.1 if 12
// metric 1, VeltraneVpnTunnel$Active running, active.conf for fra-1 | after a disconnect:
// active.conf of zeros".
std::string Outcome(const Account& account);

// The same in fewer words where it is as usual: "as without a failure", or "as without a failure
// but for poc_route_guard/default_routes_before_tunnel" when only members of the replies differ.
std::string Outcome(const Account& account, const Account& usual);

// What is beyond the office.
std::vector<std::string> BeyondTheOffice(const Machinery& machinery);

}  // namespace veltrane::faults
