#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/faults/judges.h"

namespace veltrane::faults {
namespace {

using Json = nlohmann::json;
using Texts = std::vector<std::string>;

const std::string kTunnel = "VeltraneVpnTunnel$Active ";
const std::string kConf = "active.conf ";
const std::string kTemporary = "active.conf.tmp ";

// The entry that begins like this, without the beginning; empty when there is none.
std::string Entry(const Texts& texts, const std::string& beginning) {
  for (const std::string& text : texts) {
    if (text.starts_with(beginning)) return text.substr(beginning.size());
  }
  return "";
}

bool Contains(const Texts& texts, const std::string& text) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

bool TakeOne(Texts& texts, const std::string& text) {
  const auto found = std::find(texts.begin(), texts.end(), text);
  if (found == texts.end()) return false;
  texts.erase(found);
  return true;
}

// What a walk through the events of a run finds.
struct Walk {
  Texts recorded;  // by the process that exists at the end of the story
  Texts created;   // ever, and not deleted since
  Complaints complaints;
};

Walk WalkThrough(const Account& account) {
  Walk walk;
  for (const RouteEvent& event : account.routes) {
    if (event.what == "apply" || event.what == "new process") walk.recorded.clear();
    if (event.what == "create" && event.done) {
      walk.recorded.push_back(event.route);
      walk.created.push_back(event.route);
    }
    if (event.what == "delete") {
      if (!TakeOne(walk.recorded, event.route)) {
        walk.complaints.push_back("a route that is not recorded was deleted: " + event.route);
      }
      if (event.done) TakeOne(walk.created, event.route);
    }
  }
  return walk;
}

// The last word of the story: an error, a phase, or the mode of the program.
std::string LastWord(const Account& account) {
  if (account.exchanges.empty()) return account.timer_expired ? "disconnected" : account.mode;
  const Exchange& last = account.exchanges.back();
  const Json reply = Json::parse(last.reply, nullptr, false);
  if (!reply.is_object()) return "";
  const std::string operation = Json::parse(last.request).value("op", "");
  if (!reply.value("ok", false)) return reply.value("error", "");
  if (operation == "status" || operation == "register_session") return operation;
  return reply.value("phase", "");
}

bool FailedBehindTunnel(const Account& account) {
  const Json reply = Json::parse(account.exchanges.back().reply, nullptr, false);
  return reply.contains("admin_bypass") &&
         reply.at("admin_bypass").value("failure_reason", "") == "route_verify_after_tunnel_failed";
}

bool IsAbout(const std::optional<Fault>& fault, std::string_view subject) {
  return fault && fault->kind.call.starts_with(subject);
}

void Expect(bool holds, const std::string& complaint, Complaints& complaints) {
  if (!holds) complaints.push_back(complaint);
}

// What is there of the tunnel, before and after.
struct TunnelTexts {
  std::string service;
  std::string conf;
  std::string temporary;

  bool operator==(const TunnelTexts&) const = default;
};

TunnelTexts TunnelOf(const Machinery& machinery) {
  return {Entry(machinery.services, kTunnel), Entry(machinery.files, kConf),
          Entry(machinery.files, kTemporary)};
}

// "stopped and deleted", "overwritten with zeros"; nothing to overwrite, nothing there. A scrub
// that cannot open the file leaves it to the deletion.
void JudgeTornDown(const TunnelTexts& before, const TunnelTexts& after,
                   const std::optional<Fault>& fault, Complaints& complaints) {
  Expect(after.service.empty() || IsAbout(fault, "Service"),
         "the tunnel service is still there: " + after.service, complaints);
  const bool file_failed = IsAbout(fault, "OutputFile") || IsAbout(fault, "RemoveFile");
  const bool scrubbed = after.conf == "of zeros" || (before.conf.empty() && after.conf.empty());
  Expect(scrubbed || file_failed, "the file is " + after.conf, complaints);
  Expect(!after.conf.starts_with("for "), "the key is still in the file", complaints);
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
  const bool may_forget = LastWord(account) == "poc_env_read_failed";
  if (account.ending == kLives && account.phase == "disconnected" && !may_forget) {
    for (const std::string& route : walk.recorded) {
      complaints.push_back("disconnected, and a recorded route was not taken back: " + route);
    }
  }
  return complaints;
}

Complaints JudgeLeft(const Account& account, const std::optional<Fault>& fault) {
  const TunnelTexts before = TunnelOf(account.before);
  const TunnelTexts after = TunnelOf(account.after);
  const std::string word = LastWord(account);
  Complaints complaints;
  const bool ends_by_itself =
      account.ending != kLives && !account.ending.starts_with(kExitBeginning);
  if (ends_by_itself) return complaints;  // wherever it was; JudgeAftermath says what is possible
  // A timer that expires beside a connect tears down what is there at that moment.
  const bool torn_down = account.timer_expired && after.service.empty();
  if (word == "connected") {
    if (account.timer_expired) return complaints;
    // docs/limits.md, "Kept by design": a tunnel that cannot be opened is not replaced.
    const bool unopened = IsAbout(fault, "ServiceManager.Open") && after.service == before.service;
    // A start that answers 0 or 1056, and no other, has succeeded.
    const bool not_started = IsAbout(fault, "Service.Start") && after.service == "stopped" &&
                             (fault->kind.status == 0 || fault->kind.status == 1056);
    Expect(after.service == "running " + after.conf || unopened || not_started,
           "the tunnel service is " + after.service, complaints);
    Expect(after.conf.starts_with("for "), "the file is " + after.conf, complaints);
    Expect(after.temporary.empty(), "a temporary file is left", complaints);
  } else if (word == "config_write_failed") {
    Expect(after.service == before.service || torn_down, "the tunnel service was changed",
           complaints);
    Expect(after.conf == before.conf || account.timer_expired, "the file was changed", complaints);
  } else if (word == "tunnel_start_failed") {
    const bool not_running = after.service.empty() || after.service == "stopped";
    Expect(not_running || IsAbout(fault, "Service"), "the tunnel service is " + after.service,
           complaints);
    JudgeTornDown({"", before.conf.empty() ? "written" : before.conf, ""},
                  {"", after.conf, after.temporary}, fault, complaints);
  } else if (word == "disconnected" || word == "poc_default_route_detected" ||
             (word == "admin_bypass_failed" && FailedBehindTunnel(account))) {
    JudgeTornDown(before, after, fault, complaints);
  } else if (account.timer_expired) {
    JudgeTornDown(before, after, fault, complaints);
  } else {
    Expect(after == before, "the tunnel was changed", complaints);
  }
  return complaints;
}

Complaints JudgeAftermath(const Account& account) {
  Complaints complaints;
  // The disconnect: what the process has recorded is taken back, and nothing else.
  Texts routes = account.after.routes;
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
  const Json disconnect = Json::parse(account.disconnect.reply, nullptr, false);
  Expect(disconnect.is_object() && disconnect.value("ok", false) &&
             disconnect.value("phase", "") == "disconnected",
         "a disconnect was answered with " + account.disconnect.reply, complaints);
  // The connect.
  const Json connect = Json::parse(account.connect.reply, nullptr, false);
  Expect(connect.is_object() && connect.value("ok", false) &&
             connect.value("phase", "") == "connected" && connect.value("node_id", "") == "fra-1",
         "a connect afterwards was answered with " + account.connect.reply, complaints);
  const TunnelTexts up = TunnelOf(account.after_connect);
  Expect(up == TunnelTexts{"running for fra-1", "for fra-1", ""},
         "a connect afterwards left other things", complaints);
  return complaints;
}

}  // namespace veltrane::faults
