#pragma once

// Accounts of runs in which everything is as it should be, for tests to break.

#include <string>

#include "tests/faults/judges.h"
#include "tests/scenarios/connection.h"
#include "tests/scenarios/reply_passages.h"

namespace veltrane::faults {

inline const Complaints kNone;

// A connect with one administrator, and everything as it should be.
inline Account GoodConnect() {
  Account account;
  account.leads_to = "connected";
  account.settings = {{"HKLM ADMIN_BYPASS_IP", "203.0.113.5"}};
  account.administrators = {"203.0.113.5"};
  account.before.routes = {kDefaultRoute};
  account.phase_before = "disconnected";
  account.ending = kLives;
  account.exchanges = {
      {kConnect, Reply(kConnected, With(kFreshBypass, {"enabled", "attempted", "applied"}))}};
  account.phase = "connected fra-1";
  account.after = {{kDefaultRoute, kPinnedRoute},
                   {"VeltraneVpnTunnel$Active running for fra-1"},
                   {"active.conf for fra-1"}};
  account.routes = {{"apply", "", true}, {"create", kPinnedRoute, true}};
  account.disconnect = {kDisconnect, Reply(kDisconnected)};
  account.after_disconnect = {{kDefaultRoute}, {}, {"active.conf of zeros"}};
  account.connect = {kConnect, Reply(kConnected)};
  account.after_connect = account.after;
  return account;
}

// A disconnect of that connection.
inline Account GoodDisconnect() {
  Account account = GoodConnect();
  account.leads_to = "disconnected";
  account.before = account.after;
  account.phase_before = "connected fra-1";
  account.exchanges = {account.disconnect};
  account.phase = "disconnected";
  account.after = account.after_disconnect;
  account.routes.push_back({"delete", kPinnedRoute, true});
  return account;
}

// A connect that is refused with this reply.
inline Account Refused(const std::string& reply, const std::string& leads_to = "") {
  Account account = GoodConnect();
  account.leads_to = leads_to;
  account.exchanges[0].reply = reply;
  account.phase = "disconnected";
  account.after = account.before;
  account.after_disconnect = account.before;
  account.routes.clear();
  return account;
}

// The same account of a run in which this call has failed, the first of its name.
inline Account Struck(Account account, const std::string& call, const std::string& details = "") {
  account.struck = {call, details, 1};
  return account;
}

inline Fault Failing(const char* call, std::uint32_t status = 5) {
  return {{call, "fails", status}, 1};
}

}  // namespace veltrane::faults
