// Stands in for wtsapi32.dll, with the functions that the service uses. The Remote Desktop sessions
// come from sessions.txt in the folder of the executable, one per line: session id, state (0
// active, 1 connected, 4 disconnected) and the client's IPv4 address, or "-" for none. Without that
// file there are no sessions. The agent counts the buffers that are handed out and given back.

// clang-format off
#include "agent.h"
#include <wtsapi32.h>
// clang-format on

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <set>
#include <vector>

#include "system_library.h"

namespace {

constexpr BYTE kNoAddress[4] = {};

struct FileSession {
  DWORD id = 0;
  int state = 0;
  BYTE address[4] = {};
};

std::wstring SessionsFile() {
  wchar_t program[MAX_PATH];
  const DWORD length = GetModuleFileNameW(nullptr, program, MAX_PATH);
  const std::wstring path(program, length);
  return path.substr(0, path.rfind(L'\\') + 1) + L"sessions.txt";
}

std::vector<FileSession> ReadSessionsFile() {
  std::vector<FileSession> sessions;
  std::FILE* file = _wfopen(SessionsFile().c_str(), L"r");
  if (file == nullptr) return sessions;
  char line[128];
  while (std::fgets(line, sizeof(line), file) != nullptr) {
    FileSession session;
    unsigned quad[4] = {};
    const int fields = std::sscanf(line, "%lu %d %u.%u.%u.%u", &session.id, &session.state,
                                   &quad[0], &quad[1], &quad[2], &quad[3]);
    if (fields < 2) continue;
    std::transform(std::begin(quad), std::end(quad), std::begin(session.address),
                   [](unsigned number) { return static_cast<BYTE>(number); });
    sessions.push_back(session);
  }
  std::fclose(file);
  return sessions;
}

// The session of the console is there without a line of the file too, and has no client.
std::vector<FileSession> ReadSessionsAndConsole() {
  std::vector<FileSession> sessions = ReadSessionsFile();
  sessions.push_back({.id = WTSGetActiveConsoleSessionId()});
  return sessions;
}

std::mutex buffers_mutex;
std::set<void*> buffers;  // handed out and not given back

void HandOut(void* buffer) {
  {
    const std::lock_guard<std::mutex> lock(buffers_mutex);
    buffers.insert(buffer);
  }
  lab::Agent().Ask("wts out");
}

bool Fails(const char* function) {
  const DWORD status = lab::FaultOf(function);
  if (status != 0) SetLastError(status);
  return status != 0;
}

}  // namespace

extern "C" {

BOOL WINAPI StandInWTSEnumerateSessionsW(HANDLE, DWORD, DWORD, WTS_SESSION_INFOW** infos,
                                         DWORD* count) {
  if (Fails("WTSEnumerateSessionsW")) return FALSE;
  static wchar_t station[] = L"RDP-Tcp";
  const std::vector<FileSession> sessions = ReadSessionsFile();
  auto* rows = static_cast<WTS_SESSION_INFOW*>(
      std::calloc(std::max<std::size_t>(sessions.size(), 1), sizeof(WTS_SESSION_INFOW)));
  if (rows == nullptr) return FALSE;
  for (std::size_t i = 0; i < sessions.size(); ++i) {
    rows[i].SessionId = sessions[i].id;
    rows[i].pWinStationName = station;
    rows[i].State = static_cast<WTS_CONNECTSTATE_CLASS>(sessions[i].state);
  }
  HandOut(rows);
  *infos = rows;
  *count = static_cast<DWORD>(sessions.size());
  return TRUE;
}

// Knows only the client's address, which is all that the service queries.
BOOL WINAPI StandInWTSQuerySessionInformationW(HANDLE, DWORD id, WTS_INFO_CLASS what,
                                               wchar_t** buffer, DWORD* size) {
  if (Fails("WTSQuerySessionInformationW")) return FALSE;
  const std::vector<FileSession> sessions = ReadSessionsAndConsole();
  const auto session = std::find_if(sessions.begin(), sessions.end(),
                                    [id](const FileSession& known) { return known.id == id; });
  if (what != WTSClientAddress || session == sessions.end()) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
  }
  auto* address = static_cast<WTS_CLIENT_ADDRESS*>(std::calloc(1, sizeof(WTS_CLIENT_ADDRESS)));
  if (address == nullptr) return FALSE;
  if (!std::equal(std::begin(kNoAddress), std::end(kNoAddress), session->address)) {
    address->AddressFamily = AF_INET;
  }
  std::copy(std::begin(session->address), std::end(session->address), address->Address + 2);
  HandOut(address);
  *buffer = reinterpret_cast<wchar_t*>(address);
  *size = sizeof(WTS_CLIENT_ADDRESS);
  return TRUE;
}

void WINAPI StandInWTSFreeMemory(void* memory) {
  bool known = false;
  {
    const std::lock_guard<std::mutex> lock(buffers_mutex);
    known = buffers.erase(memory) != 0;
  }
  lab::Agent().Ask(known ? "wts back" : "wts unknown");
  if (known) std::free(memory);
}

BOOL WINAPI StandInWTSQueryUserToken(ULONG id, HANDLE* token) {
  if (Fails("WTSQueryUserToken")) return FALSE;
  static const HMODULE library = lab::LoadSystemLibrary(L"wtsapi32.dll");
  return lab::FindFunction<decltype(WTSQueryUserToken)>(library, "WTSQueryUserToken")(id, token);
}
}
