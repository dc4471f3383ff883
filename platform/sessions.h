#pragma once

// Remote Desktop sessions (wtsapi32) and the session of this process. May be called on any thread.

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace veltrane {

// What ActiveConsoleSession answers when no session is attached to the console.
inline constexpr std::uint32_t kNoSession = 0xFFFFFFFF;

// States of a session (WTS_CONNECTSTATE_CLASS).
inline constexpr std::uint32_t kSessionActive = 0;
inline constexpr std::uint32_t kSessionConnected = 1;

inline constexpr std::uint32_t kFamilyIpv4 = 2;  // AF_INET

struct Session {
  std::uint32_t id = 0;
  std::uint32_t state = 0;  // WTS_CONNECTSTATE_CLASS
};

struct ClientAddress {
  std::uint32_t family = 0;              // kFamilyIpv4, or another address family
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
