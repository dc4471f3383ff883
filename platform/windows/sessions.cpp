#include "platform/sessions.h"

#include <windows.h>
#include <winsock2.h>

#include <wtsapi32.h>

#include <algorithm>

#include "platform/windows/handles.h"

namespace veltrane {

static_assert(kNoSession == 0xFFFFFFFF);  // as documented for WTSGetActiveConsoleSessionId
static_assert(kSessionActive == WTSActive);
static_assert(kSessionConnected == WTSConnected);
static_assert(kFamilyIpv4 == AF_INET);

bool IsRemoteSession() { return GetSystemMetrics(SM_REMOTESESSION) != 0; }

std::uint32_t ActiveConsoleSession() { return WTSGetActiveConsoleSessionId(); }

std::optional<std::vector<Session>> ReadSessions() {
  WTS_SESSION_INFOW* infos = nullptr;
  DWORD count = 0;
  if (!WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, &infos, &count)) return std::nullopt;
  const WtsMemory<WTS_SESSION_INFOW> owner(infos);
  std::vector<Session> sessions;
  sessions.reserve(count);
  for (DWORD i = 0; i < count; ++i) {
    sessions.push_back({infos[i].SessionId, static_cast<std::uint32_t>(infos[i].State)});
  }
  return sessions;
}

std::optional<ClientAddress> ReadClientAddress(std::uint32_t session_id) {
  wchar_t* buffer = nullptr;
  DWORD size = 0;
  const BOOL answered = WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, session_id,
                                                    WTSClientAddress, &buffer, &size);
  const WtsMemory<wchar_t> owner(buffer);
  if (!answered || buffer == nullptr || size < sizeof(WTS_CLIENT_ADDRESS)) return std::nullopt;
  const auto* address = reinterpret_cast<const WTS_CLIENT_ADDRESS*>(buffer);
  ClientAddress client{.family = address->AddressFamily};
  static_assert(sizeof(address->Address) == sizeof(client.bytes));
  std::copy(std::begin(address->Address), std::end(address->Address), client.bytes.begin());
  return client;
}

}  // namespace veltrane
