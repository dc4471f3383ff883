#pragma once

// Remote Desktop sessions and their users.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/security.h"
#include "platform/sessions.h"
#include "tests/simulated/core.h"

namespace veltrane::simulated {

// At the start this is no remote session, no session is attached to the console and the list of
// sessions is empty. The list, the client addresses and the users are independent of each other: a
// session may have a client address without being listed. Every member may be called on any thread.
class Sessions {
 public:
  explicit Sessions(Core& core);

  void SetRemoteSession(bool remote);
  void SetConsoleSession(std::uint32_t id);  // kNoSession: none

  // Appends to the list; states of WTS_CONNECTSTATE_CLASS: 0 active, 1 connected, 4 disconnected.
  void AddSession(std::uint32_t id, std::uint32_t state);

  void Clear();  // the list alone

  // An active session with an IPv4 client: AddSession and SetClientAddress at once.
  void AddActive(std::uint32_t id, const std::string& client_address);

  // The client address that a query for this session gets: an IPv4 address, or any record.
  void SetClientAddress(std::uint32_t id, const std::string& ipv4);
  void SetClientAddress(std::uint32_t id, const ClientAddress& address);

  // The user of a session; without one the program may not read it, as in a console process.
  void SetUser(std::uint32_t id, const Sid& sid);

  // The user of this process; at the start S-1-5-21-1-2-3-1001.
  void SetOwnUser(const Sid& sid);

  // For the boundary functions.
  bool IsRemote() const;
  std::uint32_t Console() const;
  std::vector<Session> List() const;
  std::optional<ClientAddress> Address(std::uint32_t id) const;
  std::optional<Sid> User(std::uint32_t id) const;
  Sid OwnUser() const;

 private:
  Core& core_;
  bool remote_ = false;
  std::uint32_t console_ = kNoSession;
  std::vector<Session> list_;
  std::map<std::uint32_t, ClientAddress> addresses_;
  std::map<std::uint32_t, Sid> users_;
  Sid own_user_;
};

}  // namespace veltrane::simulated
