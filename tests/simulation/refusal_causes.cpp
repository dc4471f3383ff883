// What must have been so on the machine for a refusal. docs/protocol.md, "Errors" and "The bypass
// report", and docs/operations.md have the causes.

#include <algorithm>
#include <functional>
#include <map>

#include "tests/simulation/exchange_parts.h"
#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

using Facts = ExchangeFacts;
using Cause = std::function<bool(const Facts&)>;

bool AnyRequired(const Facts& facts, const std::function<bool(const std::string&)>& condition) {
  const auto& required = facts.shown.required;
  return std::any_of(required.begin(), required.end(), condition);
}

bool IsUnsure(const Facts& facts, const std::string& address) {
  return facts.shown.unsure.contains(address);
}

bool AnyUnsure(const Facts& facts) {
  return AnyRequired(facts, [&](const std::string& address) { return IsUnsure(facts, address); });
}

// After an attempt that succeeded the next look verifies it, after one that failed the second next.
bool CouldNotBeAdded(const Facts& facts, const std::string& address) {
  return std::any_of(facts.attempts.begin(), facts.attempts.end(), [&](const Attempt& attempt) {
    if (attempt.address != address) return false;
    const std::size_t look = attempt.looks + (attempt.succeeded ? 0 : 1);
    return look < facts.looks.size() && !Found(facts.looks[look], facts.shown, address);
  });
}

const std::map<std::string, Cause>& CausesOfTheBypass() {
  static const std::map<std::string, Cause> causes = {
      {"no_admin_bypass_ips",
       [](const Facts& facts) {
         return !AnyRequired(facts,
                             [&](const std::string& address) { return !IsUnsure(facts, address); });
       }},
      {"physical_gateway_missing",
       [](const Facts& facts) { return !facts.shown.way || IsUnsure(facts, "8.8.8.8"); }},
      {"route_add_failed",
       [](const Facts& facts) {
         return AnyRequired(facts, [&](const std::string& address) {
           return IsUnsure(facts, address) || CouldNotBeAdded(facts, address);
         });
       }},
      {"route_verify_before_tunnel_failed",
       [](const Facts& facts) {
         return !facts.started && (AnyUnsure(facts) || !LastLost(facts).empty());
       }},
      {"route_verify_after_tunnel_failed",
       [](const Facts& facts) {
         return facts.started && (AnyUnsure(facts) || !LastLost(facts).empty());
       }},
  };
  return causes;
}

bool BypassRefuses(const Facts& facts) {
  const auto cause = CausesOfTheBypass().find(RefusalIn(facts)->failure_reason);
  return cause != CausesOfTheBypass().end() && facts.shown.Pins() && !facts.shown.remote &&
         cause->second(facts);
}

bool GuardRefuses(const Facts& facts) {
  if (!facts.shown.guard) return facts.shown.remote;
  return HasCatchAll(ConfOf(Guarded(WishOf(facts.request))));
}

bool SawTunnelDefault(const Facts& facts) {
  const std::size_t look = facts.looks_before_start + kSnapshots;
  return facts.shown.guard && facts.started && look < facts.looks.size() &&
         (facts.looks[look].tunnel_default || facts.events);
}

bool FileCouldNotBeWritten(const Facts& facts) {
  return facts.odd_files || facts.events || facts.beside_timer ||
         Failed(facts, {"CreateFolders", "OutputFile.Open", "OutputFile.Write", "OutputFile.Close",
                        "MoveFileWithFlags"});
}

// The manager, or the service, did not do as it was told; or an earlier one is in the way.
bool ServiceDidNotStart(const Facts& facts) {
  return facts.odd_services || facts.events || facts.beside_timer ||
         Failed(facts,
                {"ServiceManager.Open", "ServiceManager.OpenExisting", "ServiceManager.Create",
                 "Service.ChangeCommandLine", "Service.Start", "Service.Delete"});
}

const std::map<std::string, Cause>& Causes() {
  static const std::map<std::string, Cause> causes = {
      {"poc_env_read_failed",
       [](const Facts& facts) {
         return facts.shown.remote && facts.shown.guard_of_machine && !facts.shown.guard;
       }},
      {"poc_route_guard_failed", GuardRefuses},
      {"admin_bypass_failed", BypassRefuses},
      {"config_write_failed", FileCouldNotBeWritten},
      {"tunnel_start_failed", ServiceDidNotStart},
      {"poc_default_route_detected", SawTunnelDefault},
  };
  return causes;
}

}  // namespace

Verdict ARefusalHasItsCause(const Facts& facts) {
  const auto reply = RefusalIn(facts);
  if (!reply || ErrorsBeforeAnything().contains(reply->error)) return NotAsked();
  const auto cause = Causes().find(reply->error);
  if (cause != Causes().end() && cause->second(facts)) return "";
  return "nothing led to \"" + reply->error + "\" \"" + reply->failure_reason + "\"";
}

}  // namespace veltrane::simulation
