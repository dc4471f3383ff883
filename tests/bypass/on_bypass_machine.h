#pragma once

// The fixture of the bypass tests.

#include <string>
#include <vector>

#include "tests/support/on_machine.h"

namespace veltrane {

using simulated::Ip;

using Strings = std::vector<std::string>;

// An ordinary office machine after its first connect request. No adapter ever has a public address:
// the program reads those once in the life of a process.
class OnBypassMachine : public OnMachine {
 protected:
  OnBypassMachine() {
    machine.routes.AddPhysicalNetwork();
    MarkConnectRequested();
  }

  // As after the step of the apply sequence that finds the gateway.
  void UsePhysicalGateway() {
    CurrentPhysicalRoute() = {.gateway = Ip("192.168.1.1"), .interface_index = 12};
  }

  // What was printed so far, one element a write: "PrintDebugger ..." or "PrintError ...".
  Strings LogLines() const { return machine.calls.StartingWith("Print"); }

  // The destinations of the rows that would be deleted, in order.
  static Strings RecordedRoutes() {
    Strings texts;
    for (const ForwardRow& row : AddedRouteList()) texts.push_back(simulated::RouteText(row));
    return texts;
  }
};

}  // namespace veltrane
