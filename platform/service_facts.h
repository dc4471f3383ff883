#pragma once

// What any user may read about a registered service. May be called on any thread.

#include <cstdint>
#include <string>

#include "platform/result.h"

namespace veltrane {

inline constexpr std::uint32_t kErrorServiceDoesNotExist = 1060;  // ERROR_SERVICE_DOES_NOT_EXIST

struct ServiceFacts {
  std::uint32_t state = 0;       // current state, a number of service_codes.h
  std::uint32_t process_id = 0;  // 0 unless the service has a process
  std::wstring command_line;
  std::wstring account;  // "LocalSystem", or the name of a user
};

// Asks the service control manager (QueryServiceStatusEx, QueryServiceConfigW) with the rights that
// every interactive user has. Fails with kErrorServiceDoesNotExist when no service of this name is
// registered.
Result<ServiceFacts> ReadServiceFacts(const std::wstring& name);

}  // namespace veltrane
