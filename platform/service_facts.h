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
  std::wstring command_line;
  std::wstring account;  // "LocalSystem", or a user name
};

// Reads them from the service control manager (QueryServiceStatusEx, QueryServiceConfigW) with the
// access rights that every interactive user has. Fails with kErrorServiceDoesNotExist when no
// service has this name.
Result<ServiceFacts> ReadServiceFacts(const std::wstring& name);

}  // namespace veltrane
