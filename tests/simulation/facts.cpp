#include "tests/simulation/facts.h"

namespace veltrane::simulation {

std::string OpenText(const OpenThings& open) {
  return std::to_string(open.service_handles) + " service handles, " +
         std::to_string(open.streams) + " files, " + std::to_string(open.pipe_instances) +
         " pipes, " + std::to_string(open.security_records) + " access lists, " +
         std::to_string(open.libraries) + " libraries and " + std::to_string(open.locks) +
         " mutexes";
}

}  // namespace veltrane::simulation
