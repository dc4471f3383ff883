#include <array>
#include <utility>

#include "client/screens/screens.h"
#include "client/text/quoting.h"
#include "client/text/split.h"

namespace veltrane {
namespace {

constexpr std::size_t kLabelColumns = 24;

std::string GuardRow(std::string_view label, std::string_view text) {
  return Row(label, text, kLabelColumns);
}

// A setting's values in order of precedence: the first that is not empty counts.
using ScopeValues = std::array<std::pair<const char*, const std::string*>, 3>;

std::string SettingText(const ScopeValues& scopes) {
  std::string text;
  for (const auto& [scope, value] : scopes) {
    if (value->empty()) continue;
    if (text.empty()) {
      text = Quoted(*value) + " from the " + scope + " environment";
    } else {
      text += std::string("; ") + scope + " environment " + Quoted(*value) + " ignored";
    }
  }
  return text.empty() ? "not set" : text;
}

std::string SettingRows(const RouteGuardResult& guard) {
  const ScopeValues disable = {{{"process", &guard.process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE},
                                {"machine", &guard.machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE},
                                {"user", &guard.user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE}}};
  const ScopeValues auto_stop = {{{"process", &guard.process_env_VELTRANE_POC_AUTO_STOP_SECONDS},
                                  {"machine", &guard.machine_env_VELTRANE_POC_AUTO_STOP_SECONDS},
                                  {"user", &guard.user_env_VELTRANE_POC_AUTO_STOP_SECONDS}}};
  return GuardRow("settings", "VELTRANE_POC_DISABLE_DEFAULT_ROUTE  " + SettingText(disable)) +
         GuardRow("", "VELTRANE_POC_AUTO_STOP_SECONDS      " + SettingText(auto_stop));
}

// A list of routes joined by ";", one per row.
std::string RouteRows(const char* label, const std::string& routes) {
  std::vector<std::string> texts;
  for (const std::string_view route : Split(routes, ';')) {
    if (!route.empty()) texts.push_back(Shown(route));
  }
  return Rows(label, texts, kLabelColumns);
}

std::string Outcome(const RouteGuardResult& guard, const Painter& paint) {
  if (!guard.failure_reason.empty()) {
    return paint(Colour::kBad, "refused") + " (" + Shown(guard.failure_reason) + ")";
  }
  if (guard.effective_disable_default_route) return paint(Colour::kGood, "in force");
  return "off";
}

std::string AllowedIpsText(const RouteGuardResult& guard) {
  std::string before = Shown(guard.generated_allowed_ips_before);
  if (guard.generated_allowed_ips_after.empty()) return before;
  if (guard.generated_allowed_ips_after == guard.generated_allowed_ips_before) {
    return before + ", unchanged";
  }
  return before + " replaced by " + Shown(guard.generated_allowed_ips_after);
}

}  // namespace

std::string GuardScreen(const RouteGuardResult& guard, const Painter& paint) {
  const std::string heading = paint(Colour::kHeading, "Default-route guard");
  // Every connect sets a message, so without one the guard was not involved, as in every reply to
  // status and disconnect.
  if (guard.message.empty()) {
    return heading + ": not part of this reply; see the reply to connect, or veltranectl doctor\n";
  }
  std::string screen = heading + ": " + Outcome(guard, paint) + "\n";
  screen += GuardRow("message", Shown(guard.message));
  screen += SettingRows(guard);
  if (guard.rdp_session_active)
    screen += GuardRow("session", "the service runs in a Remote Desktop session");
  if (!guard.generated_allowed_ips_before.empty())
    screen += GuardRow("allowed IPs", AllowedIpsText(guard));
  screen += RouteRows("default routes before", guard.default_routes_before_tunnel);
  screen += RouteRows("default routes after", guard.default_routes_after_tunnel);
  screen += RouteRows("host routes before", guard.rdp_routes_before_tunnel);
  screen += RouteRows("host routes after", guard.rdp_routes_after_tunnel);
  screen += RouteRows("offending route", guard.offending_default_route);
  if (guard.auto_stop_scheduled) {
    screen += GuardRow("auto-stop", "after " + std::to_string(guard.auto_stop_seconds) + " s, at " +
                                        Shown(guard.auto_stop_deadline_utc));
  }
  return screen;
}

}  // namespace veltrane
