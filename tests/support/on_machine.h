#pragma once

// The fixture of tests that run on a simulated machine.

#include <gtest/gtest.h>

#include "bypass/records.h"
#include "service/startup_guard.h"
#include "tests/simulated/machine.h"

namespace veltrane {

// Gives each test a machine of its own, and the process-wide state of a process that has just
// started: no bypass, passive phase.
class OnMachine : public testing::Test {
 protected:
  OnMachine() {
    CurrentAdminBypassState() = {};
    SelectedBypassIps().clear();
    RequiredBypassIps().clear();
    CurrentPhysicalRoute() = {};
    AddedRouteList().clear();
    ResetStartupState();
  }

  simulated::Machine machine;
};

}  // namespace veltrane
