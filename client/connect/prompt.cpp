#include "client/connect/prompt.h"

#include <algorithm>
#include <array>
#include <string>

#include "client/forecast/networks.h"
#include "client/text/split.h"
#include "platform/ancestors.h"
#include "platform/environment.h"
#include "platform/ip_network.h"
#include "platform/sessions.h"
#include "platform/text.h"
#include "text/ascii.h"

namespace veltrane {
namespace {

constexpr std::size_t kSshCapacity = 512;
constexpr std::array<std::wstring_view, 2> kWinRmHosts = {L"wsmprovhost.exe", L"winrshost.exe"};
constexpr std::array<std::uint16_t, 2> kWinRmPorts = {5985, 5986};

std::optional<bool> IsUnderWinRm() {
  const std::optional<std::vector<std::wstring>> ancestors = ReadAncestors();
  if (!ancestors) return std::nullopt;
  return std::any_of(ancestors->begin(), ancestors->end(), [](const std::wstring& ancestor) {
    return std::any_of(kWinRmHosts.begin(), kWinRmHosts.end(), [&ancestor](std::wstring_view host) {
      return EqualsIgnoreCase(ancestor, host);
    });
  });
}

// A table that cannot be read is missed by the survey, which reads it too.
void AddWinRmConnections(std::vector<Subject>& connections) {
  for (const IpFamily family : {IpFamily::kIpv4, IpFamily::kIpv6}) {
    for (const IpConnection& each :
         ReadEstablishedConnections(family).value_or(std::vector<IpConnection>())) {
      const bool winrm =
          std::find(kWinRmPorts.begin(), kWinRmPorts.end(), each.local_port) != kWinRmPorts.end();
      if (!winrm || IsLoopback(each.remote)) continue;
      connections.push_back(ConnectedSubject(each, SubjectReason::kWinRmConnection));
    }
  }
}

}  // namespace

std::optional<Subject> SshConnectionOf(std::string_view ssh_connection) {
  const std::vector<std::string_view> words = Split(ssh_connection, ' ');
  const std::optional<IpAddress> client = ParseAddress(words[0]);
  if (!client || IsLoopback(*client)) return std::nullopt;
  Subject subject{.address = *client, .reason = SubjectReason::kSshConnection, .local = {}};
  if (words.size() > 2) subject.local = ParseAddress(words[2]);
  return subject;
}

Prompt ReadPrompt(const std::vector<IpAddress>& named) {
  Prompt prompt;
  prompt.remote_session = IsRemoteSession();
  const std::string ssh = WideToUtf8(ReadProcessVariable(L"SSH_CONNECTION", kSshCapacity));
  prompt.over_ssh = !ssh.empty();
  if (const std::optional<Subject> connection = SshConnectionOf(ssh)) {
    prompt.connections.push_back(*connection);
  }
  prompt.over_winrm = IsUnderWinRm();
  if (prompt.over_winrm == true) AddWinRmConnections(prompt.connections);
  prompt.named = named;
  return prompt;
}

}  // namespace veltrane
