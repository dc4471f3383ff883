#pragma once

namespace veltrane {

// The name of the control service, with which it is registered and connects to the service control
// manager. Console output calls the program "VeltraneVpnService"; the difference is deliberate.
inline constexpr wchar_t kServiceName[] = L"VeltraneVpnTunnel";

}  // namespace veltrane
