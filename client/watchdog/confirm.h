#pragma once

// The other side of "veltranectl confirm".

namespace veltrane {

// What came of "veltranectl confirm".
enum class ConfirmEnd {
  kConfirmed,
  kNobody,   // nothing waits for a confirmation
  kEarly,    // the service has not made the connection yet
  kLate,     // the connection is being undone, or has been
  kDenied,   // this user may not confirm it
  kNoReply,  // the watchdog did not answer
};

// Confirms the connection that waits for it, whichever session it was made in.
ConfirmEnd Confirm();

}  // namespace veltrane
