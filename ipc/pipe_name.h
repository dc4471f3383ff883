#pragma once

namespace veltrane {

// The control pipe, by which clients and the service meet.
inline constexpr wchar_t kPipeName[] = L"\\\\.\\pipe\\VeltraneVpn";

}  // namespace veltrane
