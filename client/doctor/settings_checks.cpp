#include <algorithm>
#include <array>
#include <utility>

#include "bypass/candidates.h"
#include "client/doctor/checks.h"
#include "guard/settings.h"
#include "text/ascii.h"

namespace veltrane {
namespace {

constexpr char kDisableDefaultRoute[] = "VELTRANE_POC_DISABLE_DEFAULT_ROUTE";

// A setting: its values, and the one that counts.
struct Setting {
  std::string name;
  std::string own;  // in the service's own environment
  EnvValue scopes;
  std::string counting;
};

Setting ReadSetting(const std::string& name, const Preflight& preflight) {
  Setting setting{name, preflight.own.ValueOf(name), ReadEnvAllScopes(WidenBytes(name)), ""};
  // When the service sees none, what this process would use shows what somebody has meant.
  setting.counting =
      preflight.any_server ? setting.scopes.effective : ServiceValue(preflight, name);
  if (setting.counting.empty()) setting.counting = setting.scopes.effective;
  return setting;
}

// The value of each scope that has one.
std::string ScopesText(const Setting& setting) {
  std::string text;
  const EnvValue& scopes = setting.scopes;
  const std::array<std::pair<const char*, const std::string*>, 4> values = {
      {{"service's own environment", &setting.own},
       {"process scope", &scopes.process},
       {"machine scope", &scopes.machine},
       {"user scope", &scopes.user}}};
  for (const auto& [scope, value] : values) {
    if (value->empty()) continue;
    if (!text.empty()) text += ", ";
    text += "\"" + *value + "\" in the " + scope;
  }
  return text;
}

// What the service makes of a value of this prompt or of the machine scope; empty for one of its
// own.
std::string Certainty(const Setting& setting, const Preflight& preflight) {
  if (preflight.any_server || !setting.own.empty()) return {};
  return "; the running service may see an older machine value until Windows restarts";
}

// Adds one setting: its values and what they mean. A registered service has its own process and
// user environments, so of this process's scopes it sees the machine scope alone. `better` is a
// value to ask for when the service ignores the one that it sees.
void AddSetting(const Setting& setting, const std::string& meaning, const std::string& better,
                Preflight& preflight, Findings& findings) {
  const std::string& name = setting.name;
  if (setting.counting.empty()) {
    findings.Ok(name, "not set: " + meaning);
    return;
  }
  const std::string text = ScopesText(setting) + ": " + meaning;
  const bool seen = preflight.any_server || !setting.own.empty() || !setting.scopes.machine.empty();
  if (!better.empty()) {
    findings.Warn(name, text + Certainty(setting, preflight), "");
    preflight.wanted[name] = better;
  } else if (!seen) {
    findings.Warn(name,
                  text +
                      "; the service does not see it, because neither its own environment "
                      "nor the machine scope has it",
                  "");
    preflight.wanted[name] = setting.counting;
  } else if (!preflight.any_server && setting.scopes.effective != setting.counting) {
    findings.Note(name, text + "; the service sees the " +
                            (setting.own.empty() ? "machine scope's value" : "one of its own") +
                            Certainty(setting, preflight));
  } else {
    findings.Ok(name, text + Certainty(setting, preflight));
  }
}

void CheckSwitch(const std::string& name, const std::string& on, const std::string& off,
                 Preflight& preflight, Findings& findings) {
  const Setting setting = ReadSetting(name, preflight);
  const std::string& word = setting.counting;
  const bool active = ParseEnvBool(word);
  const bool understood =
      active || word.empty() || AsciiToLower(word) == "off" || ParseBypassSwitch(word);
  AddSetting(setting, active ? on : off, understood ? "" : "1", preflight, findings);
}

void CheckAutoStop(Preflight& preflight, Findings& findings) {
  const Setting setting = ReadSetting("VELTRANE_POC_AUTO_STOP_SECONDS", preflight);
  const std::int32_t seconds = ParseEnvPositiveInt(setting.counting, 0);
  const std::string meaning =
      seconds > 0 ? "the tunnel is torn down after " + std::to_string(seconds) + " s"
                  : "the tunnel stays up";
  const bool understood = seconds > 0 || setting.counting.empty() || setting.counting == "0";
  AddSetting(setting, meaning, understood ? "" : "600", preflight, findings);
}

// The only setting that is read from the process environment alone. For a registered service that
// is its own environment, and what the machine scope contained when Windows started.
void CheckBypassSwitch(Preflight& preflight, Findings& findings) {
  const Setting setting = ReadSetting("VELTRANE_POC_ADMIN_BYPASS", preflight);
  const std::string& name = setting.name;
  const std::string meaning = std::string("the bypass is ") + (preflight.bypass_on ? "on" : "off");
  const std::string seen =
      preflight.any_server ? setting.scopes.process : ServiceValue(preflight, name);
  const std::string when = preflight.any_server || !setting.own.empty()
                               ? ""
                               : "; the service gets the machine scope's value when Windows starts";
  if (ScopesText(setting).empty()) {
    findings.Note(name, "not set: " + meaning + ", decided by the addresses below");
  } else if (seen.empty()) {
    findings.Note(name, ScopesText(setting) + ", which the service does not see: " + meaning);
  } else if (ParseBypassSwitch(seen)) {
    findings.Note(name, ScopesText(setting) + ": " + meaning + when);
  } else if (preflight.any_server) {
    findings.Warn(name, ScopesText(setting) + ", which the service ignores: " + meaning,
                  "in a command prompt: set " + name + "=1\nin PowerShell: $env:" + name + " = 1");
  } else {
    findings.Warn(name, ScopesText(setting) + ", which the service ignores: " + meaning + when, "");
    preflight.wanted[name] = "1";
  }
}

void CheckAddresses(const std::string& name, Preflight& preflight, Findings& findings) {
  const Setting setting = ReadSetting(name, preflight);
  std::string unusable;
  std::string list;
  std::size_t usable = 0;
  for (const std::string& token : SplitAddressList(setting.counting)) {
    if (IsPublicIpv4(token)) {
      ++usable;
      list += (list.empty() ? "" : ",") + token;
    } else {
      unusable += (unusable.empty() ? "" : " ") + token;
    }
  }
  if (unusable.empty()) {
    AddSetting(setting,
               setting.counting.empty()
                   ? "adds no address"
                   : std::to_string(usable) + (usable == 1 ? " address" : " addresses"),
               "", preflight, findings);
    return;
  }
  findings.Warn(name,
                ScopesText(setting) + ": " + unusable + " ignored, not a public IPv4 address" +
                    Certainty(setting, preflight),
                "");
  if (list.empty()) {
    WantAddresses(preflight, {});
  } else {
    preflight.wanted[name] = list;
  }
}

}  // namespace

void CheckSettings(Preflight& preflight, Findings& findings) {
  findings.Begin("settings");
  CheckSwitch(kDisableDefaultRoute, "catch-all AllowedIPs are replaced and DNS is dropped",
              "AllowedIPs are used as they are", preflight, findings);
  CheckAutoStop(preflight, findings);
  CheckSwitch("VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP",
              "the service exits rather than change the network before a client asks",
              "startup is not guarded", preflight, findings);
  CheckBypassSwitch(preflight, findings);
  CheckAddresses("ADMIN_BYPASS_IP", preflight, findings);
  CheckAddresses("ADMIN_BYPASS_IPS", preflight, findings);
}

void CheckSession(Preflight& preflight, Findings& findings) {
  findings.Begin("session");
  const RouteGuardResult& guard = preflight.guard;
  const std::string name = kDisableDefaultRoute;
  if (!guard.rdp_session_active) {
    findings.Ok("Remote Desktop", "this is not a Remote Desktop session");
  } else if (preflight.any_server && guard.poc_env_read_failed) {
    findings.Fail("Remote Desktop",
                  "a Remote Desktop session, and another scope overrides the machine scope's guard",
                  "in a command prompt: set " + name + "=\nin PowerShell: $env:" + name + " = ''");
  } else if (preflight.guarded) {
    findings.Ok("Remote Desktop", "a Remote Desktop session, and the default-route guard is on");
  } else if (preflight.any_server) {
    findings.Fail("Remote Desktop",
                  "a Remote Desktop session without the default-route guard: a service in console "
                  "mode refuses every connect",
                  "");
    preflight.wanted[name] = "1";
  } else {
    findings.Note(
        "Remote Desktop",
        "a Remote Desktop session without the default-route guard: the forecast says whom "
        "a connect would cut off");
  }
}

}  // namespace veltrane
