#pragma once

namespace veltrane {

// The exit codes of veltranectl. The numbers are documented and must not change.
enum ExitCode : int {
  kExitDone = 0,
  kExitRefused = 1,      // the service answered with an error
  kExitUsage = 2,        // the command line is invalid
  kExitProfile = 3,      // the profile cannot be used; nothing was sent
  kExitUnreachable = 4,  // the service cannot be reached; nothing was sent
  kExitUntrusted = 5,    // another program serves the pipe; nothing was sent
  kExitNoReply = 6,      // no readable reply came back
  kExitRisk = 7,         // somebody would be cut off, or packets would leak; nothing was sent
  kExitUndone = 8,       // the connection was not confirmed in time and has been undone
  kExitNotUndone = 9,    // it was not confirmed in time and could not be undone

  kExitNotRunning = 13,  // connected, but the tunnel did not come up in time

  // For doctor.
  kExitFine = 0,
  kExitWarnings = 10,
  kExitWouldFail = 11,
  kExitCouldCutOff = 12,
};

}  // namespace veltrane
