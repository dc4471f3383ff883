#pragma once

namespace veltrane {

// How veltranectl ends. The numbers are documented and stay.
enum ExitCode : int {
  kExitDone = 0,
  kExitRefused = 1,      // the service answered with an error
  kExitUsage = 2,        // the command line is wrong
  kExitProfile = 3,      // the profile cannot be used; nothing was sent
  kExitUnreachable = 4,  // the service cannot be talked to; nothing was sent
  kExitUntrusted = 5,    // the pipe is served by somebody else; nothing was sent
  kExitNoReply = 6,      // the request was sent, and no reply that can be read came back

  // Of doctor.
  kExitFine = 0,
  kExitWarnings = 1,
  kExitWouldBeRefused = 2,
};

}  // namespace veltrane
