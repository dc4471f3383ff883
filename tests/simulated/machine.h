#pragma once

// A whole Windows machine in memory. It implements every function of platform/*.h, so that the
// program's own code runs on it unchanged.
//
//   TEST(Teardown, DeletesTheRouteThatWasAdded) {
//     Machine machine;                                   // the machine everything below runs on
//     machine.routes.AddPhysicalNetwork();               // set it up
//     machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5");
//     machine.Fail("ReadForwardTable", 3, 5);            // the third read will fail
//     ...                                                // run the code under test
//     EXPECT_EQ(machine.Changes(),                       // what it did, in order
//               (std::vector<std::string>{
//                   "CreateForwardRow 203.0.113.5/32 via 192.168.1.1 if 12 metric 1"}));
//     EXPECT_EQ(machine.routes.Texts(), ...);            // what is left on the machine
//   }
//
// Exactly one machine exists at a time; it is the current one from its constructor to its
// destructor. A boundary call without a machine ends the process with a message, and so does
// destroying a machine while a thread of the program waits inside a boundary call (asleep on a
// stepped clock, or in a pipe): stop the program's threads first. The global state of the program
// itself is not the machine's and outlives it.
//
// Threads: everything may be called on any thread at any time. Hooks run with no lock held.
// Waiting: tests wait for a state by the members called Wait... or by a pipe client; these end the
// process with a message when nothing happens for kPatience.
//
// The names of the boundary calls, for Fail, OnCall, Calls::Of and the like, and their texts in the
// log are listed in boundary_calls.h.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/simulated/calls.h"
#include "tests/simulated/clock.h"
#include "tests/simulated/connections.h"
#include "tests/simulated/console.h"
#include "tests/simulated/core.h"
#include "tests/simulated/environment.h"
#include "tests/simulated/files.h"
#include "tests/simulated/installer.h"
#include "tests/simulated/libraries.h"
#include "tests/simulated/pipes.h"
#include "tests/simulated/registry.h"
#include "tests/simulated/routes.h"
#include "tests/simulated/security.h"
#include "tests/simulated/service_host.h"
#include "tests/simulated/services.h"
#include "tests/simulated/sessions.h"
#include "tests/simulated/text.h"

namespace veltrane::simulated {

class Machine {
 public:
  Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;
  ~Machine();

  // The machine that exists; dies when there is none.
  static Machine& Current();
  static bool Exists();

  // The program's process ends, as by a crash, and the next one has not been started: the system
  // closes whatever the program had open, and what its streams had kept back is lost. Call it where
  // the program's threads are gone, as in a fork, or never come back from the call that they are
  // in.
  void EndProcess();

  // Forks while no other thread is in the middle of a change of the machine: in the child the
  // machine is whole, and only the calling thread exists. Returns as fork does.
  int Fork();

  // From now on the conductor decides (see Conductor); null: nobody.
  void Conduct(Conductor* conductor) { core_.conductor = conductor; }

  // Short forms of the members of `calls`.
  std::vector<std::string> Changes() const { return calls.Changes(); }
  void Fail(const std::string& name, std::size_t nth, std::uint32_t status) {
    calls.Fail(name, nth, status);
  }
  void FailAlways(const std::string& name, std::uint32_t status) { calls.FailAlways(name, status); }
  void FailWhere(const std::string& name, const std::string& fragment, std::uint32_t status) {
    calls.FailWhere(name, fragment, status);
  }
  void OnCall(const std::string& name, std::size_t nth, std::function<void()> hook) {
    calls.OnCall(name, nth, std::move(hook));
  }

 private:
  Core core_;

 public:
  Calls calls{core_};
  Clock clock{core_};
  Connections connections{core_};
  Console console{core_};
  Registry registry{core_};
  Environment environment{core_, registry};
  Files files{core_};
  Installer installer{core_};
  Libraries libraries{core_};
  Pipes pipes{core_};
  Routes routes{core_};
  Security security{core_};
  ServiceHost service_host{core_};
  Services services{core_};
  Sessions sessions{core_};
};

}  // namespace veltrane::simulated
