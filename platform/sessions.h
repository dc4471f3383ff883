#pragma once

// Remote Desktop sessions (wtsapi32) and the session of this process. May be called on any thread.

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace veltrane {

// What ActiveConsoleSession answers when no session is attached to the console.
inline constexpr std::uint32_t kNoSession = 0xFFFFFFFF;

struct Session {
  std::uint32_t id = 0;
  std::uint32_t state = 0;  // WTS_CONNECTSTATE_CLASS: 0 active, 1 connected
};

struct ClientAddress {
  std::uint32_t family = 0;              // 2 for AF_INET
  std::array<std::uint8_t, 20> bytes{};  // an IPv4 address lies in bytes 2 to 5
};

// True when this process runs in a Remote Desktop session (GetSystemMetrics(SM_REMOTESESSION)).
bool IsRemoteSession();

// The session attached to the console, or kNoSession (WTSGetActiveConsoleSessionId).
std::uint32_t ActiveConsoleSession();

// Lists the sessions of the local server in the platform's order (WTSEnumerateSessionsW); nullopt
// when the call fails.
std::optional<std::vector<Session>> ReadSessions();

// Reads the client address of a session of the local server (WTSQuerySessionInformationW, class
// WTSClientAddress); nullopt when the call fails or gives no buffer.
std::optional<ClientAddress> ReadClientAddress(std::uint32_t session_id);

}  // namespace veltrane
