#pragma once

// clang-format off
#include "agent.h"
#include <ws2tcpip.h>
#include <iphlpapi.h>
// clang-format on

namespace lab {

// Returns the machine's IPv6 routes as GetIpForwardTable2 does; the metrics do not include those of
// the interfaces. FreeMibTable frees the table. Fails with ERROR_NOT_SUPPORTED when there is no
// agent, or when its answer is not understood.
DWORD MakeIpv6ForwardTable(MIB_IPFORWARD_TABLE2** table);

}  // namespace lab
