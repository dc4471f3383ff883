#pragma once

// Where the person at this prompt comes from.

#include <optional>
#include <string_view>
#include <vector>

#include "client/forecast/situation.h"

namespace veltrane {

struct Prompt {
  bool remote_session = false;  // a Remote Desktop session (IsRemoteSession)
  bool over_ssh = false;        // SSH_CONNECTION is set
  // An ancestor of this process serves a WinRM shell (wsmprovhost.exe, of PowerShell remoting, or
  // winrshost.exe, of winrs). nullopt when the processes cannot be read.
  std::optional<bool> over_winrm = false;
  std::vector<Subject> connections;  // over SSH and WinRM, by which it is reached
  std::vector<IpAddress> named;      // addresses that the command line says it is reached from
};

// Reads it. Of WinRM, whose connections belong to the system, these are all that are established to
// its ports, 5985 and 5986. A connection from this machine itself does not count: it says nothing
// about where the person is.
Prompt ReadPrompt(const std::vector<IpAddress>& named);

// The connection of SSH_CONNECTION, "CLIENT_IP CLIENT_PORT SERVER_IP SERVER_PORT" (ssh(1)). nullopt
// when the client's address cannot be read or is this machine's loopback. Pure function.
std::optional<Subject> SshConnectionOf(std::string_view ssh_connection);

}  // namespace veltrane
