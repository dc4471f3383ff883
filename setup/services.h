#pragma once

// Stopping, deleting and starting a service, each with its end awaited.

#include <cstdint>
#include <string>

namespace veltrane {

// Sends the service a stop, again as long as it runs, and waits up to this many seconds until it
// has stopped and its process has ended. Returns whether it has stopped; a service that does not
// exist has.
bool StopService(const std::wstring& name, int seconds);

// Waits up to 10 s until the process has ended, which holds the file that it runs from. Returns at
// once for 0.
void AwaitProcessEnd(std::uint32_t process_id);

// Deletes the service and waits up to 10 s until it is gone. Returns false when it could not be
// marked for deletion; one that is marked and not yet gone goes later.
bool DeleteService(const std::wstring& name);

// Starts the service and waits up to 15 s until it runs. Returns 0, the Win32 error, or
// kErrorServiceNotActive when it has stopped again or does not run in time.
inline constexpr std::uint32_t kErrorServiceNotActive = 1062;  // ERROR_SERVICE_NOT_ACTIVE
std::uint32_t StartServiceAndWait(const std::wstring& name);

}  // namespace veltrane
