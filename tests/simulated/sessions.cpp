#include "tests/simulated/sessions.h"

#include <cstring>

#include "tests/simulated/machine.h"

namespace veltrane {
namespace simulated {
namespace {

constexpr std::uint32_t kActive = 0;           // WTSActive
constexpr std::uint32_t kInternetFamily = 2;   // AF_INET
constexpr std::size_t kIpv4OffsetInBytes = 2;  // WTS_CLIENT_ADDRESS

}  // namespace

Sessions::Sessions(Core& core) : core_(core), own_user_(NtSid({21, 1, 2, 3, 1001})) {}

void Sessions::SetRemoteSession(bool remote) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  remote_ = remote;
}

void Sessions::SetConsoleSession(std::uint32_t id) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  console_ = id;
}

void Sessions::AddSession(std::uint32_t id, std::uint32_t state) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  list_.push_back({id, state});
}

void Sessions::AddActive(std::uint32_t id, const std::string& client_address) {
  AddSession(id, kActive);
  SetClientAddress(id, client_address);
}

void Sessions::Clear() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  list_.clear();
}

void Sessions::SetClientAddress(std::uint32_t id, const std::string& ipv4) {
  ClientAddress address;
  address.family = kInternetFamily;
  const std::uint32_t number = Ip(ipv4);
  std::memcpy(address.bytes.data() + kIpv4OffsetInBytes, &number, sizeof(number));
  SetClientAddress(id, address);
}

void Sessions::SetClientAddress(std::uint32_t id, const ClientAddress& address) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  addresses_[id] = address;
}

void Sessions::SetUser(std::uint32_t id, const Sid& sid) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  users_[id] = sid;
}

void Sessions::SetOwnUser(const Sid& sid) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  own_user_ = sid;
}

bool Sessions::IsRemote() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return remote_;
}

std::uint32_t Sessions::Console() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return console_;
}

std::vector<Session> Sessions::List() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return list_;
}

std::optional<ClientAddress> Sessions::Address(std::uint32_t id) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto address = addresses_.find(id);
  if (address == addresses_.end()) return std::nullopt;
  return address->second;
}

std::optional<Sid> Sessions::User(std::uint32_t id) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto user = users_.find(id);
  if (user == users_.end()) return std::nullopt;
  return user->second;
}

Sid Sessions::OwnUser() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return own_user_;
}

}  // namespace simulated

using simulated::Machine;

bool IsRemoteSession() {
  Machine& machine = Machine::Current();
  machine.calls.Begin("IsRemoteSession");
  return machine.sessions.IsRemote();
}

std::uint32_t ActiveConsoleSession() {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("ActiveConsoleSession")) return kNoSession;
  return machine.sessions.Console();
}

std::optional<std::vector<Session>> ReadSessions() {
  Machine& machine = Machine::Current();
  const auto failure = machine.calls.Begin("ReadSessions");
  if (failure) return simulated::FailedList(machine.sessions.List(), *failure);
  return machine.sessions.List();
}

std::optional<ClientAddress> ReadClientAddress(std::uint32_t session_id) {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("ReadClientAddress", std::to_string(session_id))) return std::nullopt;
  return machine.sessions.Address(session_id);
}

std::optional<Sid> ReadSessionUserSid(std::uint32_t session_id) {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("ReadSessionUserSid", std::to_string(session_id))) return std::nullopt;
  return machine.sessions.User(session_id);
}

std::optional<Sid> ReadOwnUserSid() {
  if (Machine::Current().calls.Begin("ReadOwnUserSid")) return std::nullopt;
  return Machine::Current().sessions.OwnUser();
}

}  // namespace veltrane
