#pragma once

// The fixture of the bypass tests.

#include <initializer_list>
#include <string>
#include <vector>

#include "tests/support/on_machine.h"

namespace veltrane {

using simulated::Ip;

using Strings = std::vector<std::string>;

// Texts of the routes that pin these addresses to the office's gateway, and of the calls that
// create and delete them.
inline Strings Pinned(const Strings& ips, const std::string& call = "") {
  Strings texts;
  for (const std::string& ip : ips) {
    texts.push_back(call + ip + "/32 via 192.168.1.1 if 12 metric 1");
  }
  return texts;
}
inline Strings Created(const Strings& ips) { return Pinned(ips, "CreateForwardRow "); }
inline Strings Deleted(const Strings& ips) { return Pinned(ips, "DeleteForwardRow "); }

// The calls that read a variable in all scopes.
inline Strings ReadInAllScopes(const std::string& name) {
  return {"ReadProcessVariable " + name, "ReadRegistryText HKLM " + name,
          "ReadRegistryText HKCU " + name};
}

// Several lists one after another.
inline Strings Joined(std::initializer_list<Strings> lists) {
  Strings joined;
  for (const Strings& list : lists) joined.insert(joined.end(), list.begin(), list.end());
  return joined;
}

// An ordinary office machine after its first connect request. No adapter ever has a public address:
// the program reads those once in the life of a process.
class OnBypassMachine : public OnMachine {
 protected:
  OnBypassMachine() {
    machine.routes.AddPhysicalNetwork();
    MarkConnectRequested();
  }

  void SetVariable(const wchar_t* name, const std::wstring& value) {
    machine.environment.SetProcess(name, value);
  }

  // As after the step of the apply sequence that finds the gateway.
  void UsePhysicalGateway() {
    CurrentPhysicalRoute() = {.gateway = Ip("192.168.1.1"), .interface_index = 12};
  }

  static void ExpectPhysicalRoute(const char* gateway, std::uint32_t interface_index) {
    EXPECT_EQ(CurrentPhysicalRoute().gateway, Ip(gateway));
    EXPECT_EQ(CurrentPhysicalRoute().interface_index, interface_index);
  }

  // What was printed so far, one element a write; and the two writes of one log line.
  Strings LogLines() const { return machine.calls.StartingWith("Print"); }
  static Strings Logged(const std::string& fields) {
    return {"PrintDebugger [Veltrane][admin_bypass] " + fields,
            "PrintError [Veltrane][admin_bypass] " + fields};
  }

  // The rows that would be deleted, in order.
  static Strings RecordedRoutes() {
    Strings texts;
    for (const ForwardRow& row : AddedRouteList()) texts.push_back(simulated::RouteText(row));
    return texts;
  }

  const Strings office_routes = {"0.0.0.0/0 via 192.168.1.1 if 12 metric 25",
                                 "192.168.1.0/24 via 0.0.0.0 if 12 metric 281"};
};

}  // namespace veltrane
