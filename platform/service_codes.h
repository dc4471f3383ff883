#pragma once

// Numbers of the service control manager, from winsvc.h, winnt.h and winerror.h.
// Windows: "Service Security and Access Rights", "SERVICE_STATUS structure".

#include <cstdint>

namespace veltrane {

// Access rights for the manager and for a service.
inline constexpr std::uint32_t kManagerConnect = 0x0001;
inline constexpr std::uint32_t kManagerAllAccess = 0xF003F;
inline constexpr std::uint32_t kServiceQueryStatus = 0x0004;
inline constexpr std::uint32_t kServiceStop = 0x0020;
inline constexpr std::uint32_t kServiceAllAccess = 0xF01FF;
inline constexpr std::uint32_t kDelete = 0x00010000;

// Settings of a service.
inline constexpr std::uint32_t kServiceOwnProcess = 0x10;
inline constexpr std::uint32_t kServiceAutoStart = 2;
inline constexpr std::uint32_t kServiceDemandStart = 3;
inline constexpr std::uint32_t kServiceErrorNormal = 1;
inline constexpr std::uint32_t kServiceSidUnrestricted = 1;

// States.
inline constexpr std::uint32_t kServiceStopped = 1;
inline constexpr std::uint32_t kServiceStartPending = 2;
inline constexpr std::uint32_t kServiceStopPending = 3;
inline constexpr std::uint32_t kServiceRunning = 4;

// Control codes, and the flags for those that a service accepts.
inline constexpr std::uint32_t kControlStop = 1;
inline constexpr std::uint32_t kAcceptStop = 1;

// Errors.
inline constexpr std::uint32_t kErrorServiceAlreadyRunning = 1056;
inline constexpr std::uint32_t kErrorServiceExists = 1073;

}  // namespace veltrane
