#pragma once

#include <string>

#include "platform/service_codes.h"
#include "platform/services.h"

namespace veltrane {

// The settings of a Windows service that runs this executable as Local System: in its own process,
// started on demand, after the Network Store Interface service and the TCP/IP driver. The name is
// also the display name.
inline ServiceSettings OwnServiceSettings(const std::wstring& name,
                                          const std::wstring& command_line) {
  return {.name = name,
          .display_name = name,
          .access = kServiceAllAccess,
          .type = kServiceOwnProcess,
          .start_type = kServiceDemandStart,
          .error_control = kServiceErrorNormal,
          .command_line = command_line,
          .dependencies = {L"Nsi", L"TcpIp"}};
}

}  // namespace veltrane
