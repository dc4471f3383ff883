#pragma once

// The preflight: would a connect work now, and would the administrator stay connected? Reads only.

#include "client/exit_codes.h"
#include "client/screens/display.h"

namespace veltrane {

struct DoctorOptions {
  bool json = false;
  bool any_server = false;  // the service is one in console mode
};

// Prints the findings. Returns 0 when all is fine, 1 with warnings, 2 when a connect would be
// refused.
ExitCode RunDoctor(const DoctorOptions& options, Display& display);

}  // namespace veltrane
