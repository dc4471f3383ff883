#pragma once

namespace veltrane {

// The name of the control pipe, which connects clients to the service.
inline constexpr wchar_t kPipeName[] = L"\\\\.\\pipe\\VeltraneVpn";

}  // namespace veltrane
