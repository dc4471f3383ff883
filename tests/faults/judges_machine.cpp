// The judges of what a run leaves on the machine.

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "tests/faults/expected_left.h"
#include "tests/faults/judges.h"
#include "tests/faults/last_word.h"
#include "tests/faults/walk.h"
#include "tests/scenarios/connection.h"

namespace veltrane::faults {
namespace {

using Json = nlohmann::json;

bool Contains(const std::vector<std::string>& texts, const std::string& text) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

// What takes the recorded routes back: docs/operations.md, "What stays behind".
bool TakesRoutesBack(const std::string& word) {
  static const std::set<std::string> kWords = {"disconnected",
                                               kTimerDone,
                                               kNotScrubbed,
                                               "admin_bypass_failed",
                                               kLostBypass,
                                               "poc_route_guard_failed",
                                               "config_write_failed",
                                               "tunnel_start_failed",
                                               "poc_default_route_detected"};
  return kWords.contains(word);
}

std::string Named(const std::string& text) { return text.empty() ? "absent" : text; }

void ExpectText(const std::string& what, const std::string& actual, const std::string& expected,
                Complaints& complaints) {
  Expect(actual == expected, what + " is " + Named(actual) + ", not " + Named(expected),
         complaints);
}

// The routes behind the last connect: those that it found, and the one that it pins.
std::vector<std::string> RoutesBehindConnect(std::vector<std::string> found) {
  std::erase_if(found, [](const std::string& route) {
    return route.starts_with("203.0.113.5/32 via 192.168.1.1 if 12 ");
  });
  found.push_back(kPinnedRoute);
  std::sort(found.begin(), found.end());
  return found;
}

void JudgeLastDisconnect(const Account& account, Complaints& complaints) {
  std::vector<std::string> routes = account.after.routes;
  if (account.ending == kLives) {
    for (const std::string& route : WalkThrough(account).recorded) TakeOne(routes, route);
  }
  Expect(account.after_disconnect.routes == routes, "a disconnect left other routes", complaints);
  const TunnelTexts after = TunnelOf(account.after);
  const TunnelTexts down = TunnelOf(account.after_disconnect);
  Expect(down.service.empty(), "a disconnect left the tunnel service " + down.service, complaints);
  Expect(down.conf == (after.conf.empty() ? "" : "of zeros"),
         "a disconnect left the file " + down.conf, complaints);
  Expect(down.temporary == after.temporary, "a disconnect changed the temporary file", complaints);
  const Json reply = Json::parse(account.disconnect.reply, nullptr, false);
  Expect(reply.is_object() && reply.value("ok", false) && TextOf(reply, "phase") == "disconnected",
         "a disconnect was answered with " + account.disconnect.reply, complaints);
}

void JudgeLastConnect(const Account& account, Complaints& complaints) {
  const Json reply = Json::parse(account.connect.reply, nullptr, false);
  Expect(reply.is_object() && reply.value("ok", false) && TextOf(reply, "phase") == "connected" &&
             TextOf(reply, "node_id") == "fra-1",
         "a connect afterwards was answered with " + account.connect.reply, complaints);
  Expect(TunnelOf(account.after_connect) == TunnelTexts{"running for fra-1", "for fra-1", ""},
         "a connect afterwards left other things", complaints);
  std::vector<std::string> routes = account.after_connect.routes;
  std::sort(routes.begin(), routes.end());
  Expect(routes == RoutesBehindConnect(account.after_disconnect.routes),
         "a connect afterwards left other routes", complaints);
}

}  // namespace

Complaints JudgeRoutes(const Account& account) {
  Walk walk = WalkThrough(account);
  Complaints complaints = walk.complaints;
  for (const std::string& route : account.before.routes) {
    const bool was_ours = std::any_of(account.routes.begin(), account.routes.end(),
                                      [&route](const RouteEvent& event) {
                                        return event.what == "create" && event.route == route;
                                      });
    Expect(was_ours || Contains(account.after.routes, route), "another's route is gone: " + route,
           complaints);
  }
  if (TakesRoutesBack(LastWord(account))) {
    walk.recorded.insert(walk.recorded.end(), walk.abandoned.begin(), walk.abandoned.end());
    for (const std::string& route : walk.recorded) {
      complaints.push_back("a recorded route was not taken back: " + route);
    }
  }
  return complaints;
}

Complaints JudgeLeft(const Account& account, const std::optional<Fault>& fault) {
  const TunnelTexts after = TunnelOf(account.after);
  const TunnelTexts expected = ExpectedLeft(account, fault);
  Complaints complaints;
  ExpectText("the tunnel service", after.service, expected.service, complaints);
  ExpectText("the file", after.conf, expected.conf, complaints);
  ExpectText("the temporary file", after.temporary, expected.temporary, complaints);
  return complaints;
}

Complaints JudgeAftermath(const Account& account) {
  Complaints complaints;
  JudgeLastDisconnect(account, complaints);
  JudgeLastConnect(account, complaints);
  return complaints;
}

}  // namespace veltrane::faults
