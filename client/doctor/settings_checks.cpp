#include <array>
#include <utility>

#include "bypass/candidates.h"
#include "client/doctor/checks.h"
#include "guard/settings.h"
#include "text/ascii.h"

namespace veltrane {
namespace {

constexpr char kDisableDefaultRoute[] = "VELTRANE_POC_DISABLE_DEFAULT_ROUTE";

// The value of each scope that has one.
std::string ScopesText(const EnvValue& value) {
  std::string text;
  const std::array<std::pair<const char*, const std::string*>, 3> scopes = {
      {{"process", &value.process}, {"machine", &value.machine}, {"user", &value.user}}};
  for (const auto& [scope, scoped] : scopes) {
    if (scoped->empty()) continue;
    if (!text.empty()) text += ", ";
    text += "\"" + *scoped + "\" in the " + scope + " scope";
  }
  return text;
}

std::string SetForMachine(const std::string& name, const std::string& value) {
  return "setx " + name + " \"" + value + "\" /M";
}

// Adds one setting: its values and what they mean. A registered service has its own process and
// user environments, so it sees only the machine scope.
void AddSetting(const std::string& name, const EnvValue& value, const std::string& meaning,
                const std::string& fix, const Preflight& preflight, Findings& findings) {
  if (value.effective.empty()) {
    findings.Ok(name, "not set: " + meaning);
    return;
  }
  const std::string text = ScopesText(value) + ": " + meaning;
  if (!fix.empty()) {
    findings.Warn(name, text, fix);
  } else if (value.machine.empty() && !preflight.any_server) {
    findings.Warn(
        name, text + "; the service does not see it, because the machine scope does not have it",
        SetForMachine(name, value.effective));
  } else if (value.effective != value.machine && !preflight.any_server) {
    findings.Note(name, text + "; the service sees the machine scope's value");
  } else {
    findings.Ok(name, text);
  }
}

// The value that counts: for a registered service the machine scope's, or when that has none, what
// this process would use.
const std::string& Counting(const EnvValue& value, const Preflight& preflight) {
  return preflight.any_server || value.machine.empty() ? value.effective : value.machine;
}

void CheckSwitch(const std::string& name, const std::string& on, const std::string& off,
                 const Preflight& preflight, Findings& findings) {
  const EnvValue value = ReadEnvAllScopes(WidenBytes(name));
  const std::string& word = Counting(value, preflight);
  const bool active = ParseEnvBool(word);
  const bool understood =
      active || word.empty() || AsciiToLower(word) == "off" || ParseBypassSwitch(word);
  AddSetting(name, value, active ? on : off, understood ? "" : SetForMachine(name, "1"), preflight,
             findings);
}

void CheckAutoStop(const Preflight& preflight, Findings& findings) {
  const std::string name = "VELTRANE_POC_AUTO_STOP_SECONDS";
  const EnvValue value = ReadEnvAllScopes(WidenBytes(name));
  const std::string& number = Counting(value, preflight);
  const std::int32_t seconds = ParseEnvPositiveInt(number, 0);
  const std::string meaning =
      seconds > 0 ? "the tunnel is torn down after " + std::to_string(seconds) + " s"
                  : "the tunnel stays up";
  const bool understood = seconds > 0 || number.empty() || number == "0";
  AddSetting(name, value, meaning, understood ? "" : SetForMachine(name, "600"), preflight,
             findings);
}

// The only setting that is read from the process environment alone. For a registered service that
// is what the machine scope contained when Windows started.
void CheckBypassSwitch(const Preflight& preflight, Findings& findings) {
  const std::string name = "VELTRANE_POC_ADMIN_BYPASS";
  const EnvValue value = ReadEnvAllScopes(WidenBytes(name));
  const std::string meaning = std::string("the bypass is ") + (preflight.bypass_on ? "on" : "off");
  const std::string when = preflight.any_server
                               ? ""
                               : "; the service gets the machine scope's value when Windows starts";
  const std::string& seen = preflight.any_server ? value.process : value.machine;
  if (ScopesText(value).empty()) {
    findings.Note(name, "not set: " + meaning + ", decided by the addresses below");
  } else if (seen.empty()) {
    findings.Note(name, ScopesText(value) + ", which the service does not see: " + meaning);
  } else if (ParseBypassSwitch(seen)) {
    findings.Note(name, ScopesText(value) + ": " + meaning + when);
  } else {
    findings.Warn(name, ScopesText(value) + ", which the service ignores: " + meaning + when,
                  preflight.any_server ? "set " + name + "=1" : SetForMachine(name, "1"));
  }
}

void CheckAddresses(const std::string& name, const Preflight& preflight, Findings& findings) {
  const EnvValue value = ReadEnvAllScopes(WidenBytes(name));
  std::string unusable;
  std::size_t usable = 0;
  for (const std::string& token : SplitAddressList(Counting(value, preflight))) {
    if (IsPublicIpv4(token)) {
      ++usable;
    } else {
      unusable += (unusable.empty() ? "" : " ") + token;
    }
  }
  if (!unusable.empty()) {
    findings.Warn(name, ScopesText(value) + ": " + unusable + " ignored, not a public IPv4 address",
                  "setx " + name + " <public address> /M");
    return;
  }
  AddSetting(name, value,
             value.effective.empty()
                 ? "adds no address"
                 : std::to_string(usable) + (usable == 1 ? " address" : " addresses"),
             "", preflight, findings);
}

}  // namespace

void CheckSettings(const Preflight& preflight, Findings& findings) {
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

void CheckSession(const Preflight& preflight, Findings& findings) {
  findings.Begin("session");
  const RouteGuardResult& guard = preflight.guard;
  const std::string fix = SetForMachine(kDisableDefaultRoute, "1");
  if (!guard.rdp_session_active) {
    findings.Ok("Remote Desktop", "this is not a Remote Desktop session");
  } else if (preflight.any_server && guard.poc_env_read_failed) {
    findings.Fail("Remote Desktop",
                  "a Remote Desktop session, and another scope overrides the machine scope's guard",
                  std::string("set ") + kDisableDefaultRoute + "=");
  } else if (preflight.guarded) {
    findings.Ok("Remote Desktop", "a Remote Desktop session, and the default-route guard is on");
  } else if (preflight.any_server) {
    findings.Fail("Remote Desktop",
                  "a Remote Desktop session without the default-route guard: a service in console "
                  "mode refuses every connect",
                  fix);
  } else {
    findings.Warn(
        "Remote Desktop",
        "a Remote Desktop session without the default-route guard: a tunnel that takes the default "
        "route can cut it off, and a service in console mode would refuse to connect",
        fix);
  }
}

}  // namespace veltrane
