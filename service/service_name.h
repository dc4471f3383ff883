#pragma once

namespace veltrane {

// The name under which the control service is registered and under which it meets the service
// control manager. Console texts call the program "VeltraneVpnService" instead; the two differ on
// purpose.
inline constexpr wchar_t kServiceName[] = L"VeltraneVpnTunnel";

}  // namespace veltrane
