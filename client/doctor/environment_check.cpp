#include <algorithm>

#include "client/doctor/checks.h"
#include "client/text/windows_error.h"
#include "platform/result.h"
#include "platform/service_codes.h"
#include "text/ascii.h"

namespace veltrane {
namespace {

using Setting = decltype(Preflight::wanted)::value_type;

std::string NameOf(const std::string& entry) {
  return AsciiToLower(entry.substr(0, entry.find('=')));
}

// Whether a command prompt and PowerShell both take the text between double quotes as it is, and
// reg after them.
bool IsPlain(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](const char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           std::string_view("_=.,:;/-+ ()").find(c) != std::string_view::npos;
  });
}

// The entries that stay as they are.
std::vector<std::string> KeptEntries(const Preflight& preflight) {
  std::vector<std::string> kept;
  for (const std::string& entry : preflight.own.entries) {
    const auto asked = [&entry](const auto& wanted) {
      return NameOf(entry) == AsciiToLower(wanted.first);
    };
    if (std::none_of(preflight.wanted.begin(), preflight.wanted.end(), asked)) {
      kept.push_back(entry);
    }
  }
  return kept;
}

std::string Assignment(const Setting& wanted) { return wanted.first + "=" + wanted.second; }

std::string SetForTheMachine(const Setting& wanted) {
  return "setx " + wanted.first + " \"" + wanted.second + "\" /M";
}

// The commands that replace the whole value and make the service read it.
std::string Replacing(const Preflight& preflight, const std::vector<std::string>& kept) {
  std::vector<std::string> entries = kept;
  for (const Setting& wanted : preflight.wanted) entries.push_back(Assignment(wanted));
  std::string list;
  for (const std::string& entry : entries) list += (list.empty() ? "" : "\\0") + entry;
  std::string commands =
      "reg add HKLM\\SYSTEM\\CurrentControlSet\\Services\\VeltraneVpnTunnel /v Environment /t "
      "REG_MULTI_SZ /d \"" +
      list + "\" /f";
  if (preflight.service->state != kServiceRunning) return commands;
  if (preflight.status && preflight.status->phase == "connected") {
    commands += "\n.\\veltranectl disconnect";
  }
  return commands + "\nnet stop VeltraneVpnTunnel\nnet start VeltraneVpnTunnel";
}

std::string Asked(const Preflight& preflight) {
  std::string text;
  for (const Setting& wanted : preflight.wanted) {
    text += (text.empty() ? "" : ", ") + Assignment(wanted);
  }
  return text;
}

void AddCommands(const Preflight& preflight, Findings& findings) {
  const std::string asked = "the findings above ask for " + Asked(preflight);
  const std::vector<std::string> kept = KeptEntries(preflight);
  if (preflight.any_server) {
    std::string commands;
    for (const Setting& wanted : preflight.wanted) {
      commands += (commands.empty() ? "" : "\n") + SetForTheMachine(wanted);
    }
    findings.NoteWithFix("to set", asked + "; a value in the console's own environment comes first",
                         commands);
  } else if (!preflight.service) {
    findings.Note("to set", asked + ", when the service is installed");
  } else if (!preflight.own.IsKnown()) {
    findings.Note("to set", asked +
                                "; no command is given, because it would replace a value that "
                                "could not be read");
  } else if (!std::all_of(kept.begin(), kept.end(), IsPlain)) {
    findings.Note("to set", asked +
                                "; no command is given, because the value has entries that a "
                                "command line would change: use regedit");
  } else {
    findings.NoteWithFix("to set",
                         asked + "; the command replaces the whole value and keeps " +
                             std::to_string(kept.size()) + " other entr" +
                             (kept.size() == 1 ? "y" : "ies"),
                         Replacing(preflight, kept));
  }
}

void AddOwnValue(const ServiceEnvironment& own, Findings& findings) {
  if (own.error == kErrorAccessDenied) {
    findings.NoteDenied("own value", "the service's own Environment value");
    return;
  }
  if (!own.IsKnown()) {
    findings.Note("own value", "cannot be read" + WindowsError(own.error));
    return;
  }
  std::string names;
  for (const std::string& entry : own.entries) {
    names += (names.empty() ? "" : ", ") + entry.substr(0, entry.find('='));
  }
  findings.Ok("own value", names.empty() ? "none" : names);
}

}  // namespace

void CheckEnvironment(const Preflight& preflight, Findings& findings) {
  findings.Begin("environment");
  if (preflight.any_server) {
    findings.Ok("order", "this process's environment is taken for that of the console");
  } else {
    findings.Note("order",
                  "the service reads its own Environment value as it was when the service started, "
                  "then the machine scope as it was when Windows started, then the machine scope "
                  "now; what it was then cannot be read (docs/limits.md)");
    AddOwnValue(preflight.own, findings);
  }
  if (!preflight.wanted.empty()) AddCommands(preflight, findings);
}

}  // namespace veltrane
