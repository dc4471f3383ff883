#pragma once

// The machine's real IPv4 network, read by other calls than those of the executable under test.

#include <string>

namespace veltrane::windows_tests {

// The default routes as a reply shows them, for example
// "0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25". Fails the test when there is none.
std::string DefaultRoutes();

struct Gateway {
  std::string address;          // dotted quad
  std::string interface_index;  // decimal
};

// The next hop of the first default route that has one. Fails the test when none has.
Gateway DefaultGateway();

}  // namespace veltrane::windows_tests
