#include "bypass/candidates.h"

#include <algorithm>
#include <cstdio>
#include <set>

#include "guard/settings.h"
#include "platform/connections.h"
#include "platform/environment.h"
#include "platform/ipv4.h"
#include "platform/sessions.h"
#include "text/ascii.h"

namespace veltrane {
namespace {

std::set<std::string> ReadLocalPublicAddresses() {
  std::set<std::string> addresses;
  for (const std::uint32_t address :
       ReadAdapterAddresses().value_or(std::vector<std::uint32_t>())) {
    const std::string ip = FormatIpv4(address);
    if (IsPublicIpv4(ip)) addresses.insert(ip);
  }
  return addresses;
}

// Returns the machine's own public addresses, read once, at the first call in the process.
const std::set<std::string>& LocalPublicAddresses() {
  static const auto& addresses = *new std::set<std::string>(ReadLocalPublicAddresses());
  return addresses;
}

// Returns the port in host byte order; the low 16 bits of `field` hold it in network byte order.
std::uint32_t PortOf(std::uint32_t field) { return (field & 0xFF) << 8 | (field >> 8 & 0xFF); }

void AddEnvironmentCandidates(BypassCandidateMap& candidates, const wchar_t* variable,
                              const char* source) {
  for (const std::string& token : SplitAddressList(ReadEnvSetting(variable))) {
    AddBypassCandidate(candidates, token, source, true);
  }
}

std::vector<std::string> ListSessionClientAddresses() {
  std::vector<std::uint32_t> session_ids;
  const std::uint32_t console = ActiveConsoleSession();
  if (console != kNoSession) session_ids.push_back(console);
  for (const Session& session : ReadSessions().value_or(std::vector<Session>())) {
    if (session.state <= kSessionConnected) session_ids.push_back(session.id);
  }
  std::vector<std::string> ips;
  for (const std::uint32_t id : session_ids) {
    if (std::optional<std::string> ip = QuerySessionClientAddress(id)) ips.push_back(*ip);
  }
  return ips;
}

bool IsAnyOf(const std::wstring& value, std::initializer_list<std::wstring_view> words) {
  return std::any_of(words.begin(), words.end(),
                     [&value](std::wstring_view word) { return EqualsIgnoreCase(value, word); });
}

}  // namespace

std::vector<BypassIpEntry> CollectBypassCandidates() {
  BypassCandidateMap candidates;
  AddEnvironmentCandidates(candidates, L"ADMIN_BYPASS_IP", "ADMIN_BYPASS_IP");
  AddEnvironmentCandidates(candidates, L"ADMIN_BYPASS_IPS", "ADMIN_BYPASS_IPS");
  for (const std::string& ip : ListRdpTcpRemoteAddresses()) {
    AddBypassCandidate(candidates, ip, "RDP_TCP_ESTABLISHED", true);
  }
  for (const std::string& ip : ListSessionClientAddresses()) {
    AddBypassCandidate(candidates, ip, "WTS", false);
  }
  std::vector<BypassIpEntry> entries;
  for (const auto& [ip, entry] : candidates) entries.push_back(entry);
  return entries;
}

void AddBypassCandidate(BypassCandidateMap& candidates, const std::string& ip, const char* source,
                        bool required) {
  if (!IsPublicIpv4(ip)) return;
  if (LocalPublicAddresses().contains(ip)) return;
  const auto [position, inserted] =
      candidates.try_emplace(ip, BypassIpEntry{.ip = ip, .source = source, .required = required});
  if (!inserted && required) position->second.required = true;
}

bool IsPublicIpv4(const std::string& ip) {
  const std::optional<std::uint32_t> address = ParseIpv4(ip);
  if (!address || *address == 0) return false;
  const std::uint32_t first = *address & 0xFF;
  const std::uint32_t second = *address >> 8 & 0xFF;
  if (first == 127 || first == 10) return false;
  if (first == 172 && second >= 16 && second <= 31) return false;
  if (first == 192 && second == 168) return false;
  if (first == 169 && second == 254) return false;
  return true;
}

std::vector<std::string> ListRdpTcpRemoteAddresses() {
  std::vector<std::string> ips;
  for (const TcpConnection& connection :
       ReadTcpConnections().value_or(std::vector<TcpConnection>())) {
    if (connection.state != kTcpEstablished || PortOf(connection.local_port) != kRdpPort) continue;
    const std::string ip = FormatIpv4(connection.remote_address);
    if (IsPublicIpv4(ip)) ips.push_back(ip);
  }
  return ips;
}

std::optional<std::string> QuerySessionClientAddress(std::uint32_t session_id) {
  const std::optional<ClientAddress> client = ReadClientAddress(session_id);
  if (!client || client->family != kFamilyIpv4) return std::nullopt;
  char text[22];
  std::snprintf(text, sizeof(text), "%u.%u.%u.%u", client->bytes[2], client->bytes[3],
                client->bytes[4], client->bytes[5]);
  if (!IsPublicIpv4(text)) return std::nullopt;
  return text;
}

std::vector<std::string> ListAdminEnvIps() {
  std::vector<std::string> tokens = SplitAddressList(ReadEnvSetting(L"ADMIN_BYPASS_IP"));
  for (std::string& token : SplitAddressList(ReadEnvSetting(L"ADMIN_BYPASS_IPS"))) {
    tokens.push_back(std::move(token));
  }
  return tokens;
}

std::vector<std::string> SplitAddressList(const std::string& text) {
  constexpr const char* kSeparators = ",; \t\r\n";
  std::vector<std::string> tokens;
  std::size_t begin = text.find_first_not_of(kSeparators);
  while (begin != std::string::npos) {
    const std::size_t end = text.find_first_of(kSeparators, begin);
    tokens.push_back(text.substr(begin, end - begin));
    begin = text.find_first_not_of(kSeparators, end);
  }
  return tokens;
}

bool IsAdminBypassEnabled() {
  const std::wstring value = ReadProcessVariable(L"VELTRANE_POC_ADMIN_BYPASS", kSwitchCapacity);
  if (IsAnyOf(value, {L"1", L"true", L"yes"})) return true;
  if (IsAnyOf(value, {L"0", L"false", L"no"})) return false;
  return !ReadEnvSetting(L"ADMIN_BYPASS_IP").empty() ||
         !ReadEnvSetting(L"ADMIN_BYPASS_IPS").empty();
}

}  // namespace veltrane
