#pragma once

// What any user may read about a registered service.
// Errors: Win32 errors.
// Threads: any.
// Windows: "Service Security and Access Rights".

#include <cstdint>
#include <string>

#include "platform/result.h"

namespace veltrane {

inline constexpr std::uint32_t kErrorServiceDoesNotExist = 1060;  // ERROR_SERVICE_DOES_NOT_EXIST

struct ServiceFacts {
  std::uint32_t state = 0;       // a state of service_codes.h
  std::uint32_t process_id = 0;  // 0 unless the service has a process
  std::uint32_t start_type = 0;  // of service_codes.h
  std::wstring command_line;
  std::wstring account;  // "LocalSystem", or a user name
};

// Reads them from the service control manager (QueryServiceStatusEx, QueryServiceConfigW) with the
// access rights that every interactive user has. Fails with kErrorServiceDoesNotExist when no
// service has this name.
Result<ServiceFacts> ReadServiceFacts(const std::wstring& name);

// Returns when a process was started (OpenProcess with PROCESS_QUERY_LIMITED_INFORMATION,
// GetProcessTimes), in ticks of clock.h since 1970-01-01 00:00:00 UTC. Fails with 5 when the caller
// may not ask, which is the rule for a user who asks about a service, and with 87 when there is no
// such process.
Result<std::int64_t> ReadProcessStart(std::uint32_t process_id);

}  // namespace veltrane
