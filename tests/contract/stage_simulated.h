#pragma once

// What the parts of the stage over the simulated machine share.

#include <string>
#include <vector>

#include "tests/contract/stage.h"
#include "tests/simulated/client_side.h"
#include "tests/simulated/machine.h"

namespace veltrane::contract {

struct Stage::State {
  simulated::Machine machine;
  simulated::ClientSide client;
  std::vector<std::wstring> service_names;
  std::vector<SpareLibrary> libraries;
};

}  // namespace veltrane::contract
