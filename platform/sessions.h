#pragma once

// Remote Desktop sessions, and the session of this process.
// Threads: any.
// Windows: "Remote Desktop Services API", "GetSystemMetrics".

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace veltrane {

// The result of ActiveConsoleSession when no session is attached to the console.
inline constexpr std::uint32_t kNoSession = 0xFFFFFFFF;

// Session states (WTS_CONNECTSTATE_CLASS).
inline constexpr std::uint32_t kSessionActive = 0;
inline constexpr std::uint32_t kSessionConnected = 1;

inline constexpr std::uint32_t kFamilyIpv4 = 2;  // AF_INET

struct Session {
  std::uint32_t id = 0;
  std::uint32_t state = 0;  // WTS_CONNECTSTATE_CLASS
};

struct ClientAddress {
  std::uint32_t family = 0;              // kFamilyIpv4, or another address family
  std::array<std::uint8_t, 20> bytes{};  // an IPv4 address is in bytes 2 to 5, first octet first
};

// Returns true when this process runs in a Remote Desktop session (GetSystemMetrics with
// SM_REMOTESESSION).
bool IsRemoteSession();

// Returns the id of the session attached to the console, or kNoSession
// (WTSGetActiveConsoleSessionId).
std::uint32_t ActiveConsoleSession();

// Reads the sessions of this machine in the system's order (WTSEnumerateSessionsW). nullopt on
// failure.
std::optional<std::vector<Session>> ReadSessions();

// Reads the address of a session's client (WTSQuerySessionInformationW with WTSClientAddress).
// nullopt on failure, or when the call returns no buffer or too small a one.
std::optional<ClientAddress> ReadClientAddress(std::uint32_t session_id);

}  // namespace veltrane
