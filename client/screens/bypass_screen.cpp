#include <algorithm>

#include "client/screens/screens.h"
#include "client/text/quoting.h"
#include "client/text/split.h"
#include "client/text/windows_error.h"

namespace veltrane {
namespace {

constexpr std::size_t kIpColumns = 17;
constexpr std::size_t kNeedColumns = 10;
constexpr std::size_t kSourceColumns = 28;

// The report of a bypass that was removed still has the texts from when it was in force.
bool IsRemoved(const AdminBypassState& state) {
  return state.enabled && state.attempted && !state.applied && !state.skipped_for_safe_mode &&
         state.failure_reason.empty();
}

// The state of the bypass in a word or two.
std::string Outcome(const AdminBypassState& state, const Painter& paint) {
  if (!state.failure_reason.empty()) {
    return paint(Colour::kBad, "refused") + " (" + Shown(state.failure_reason) + ")";
  }
  if (!state.enabled) return state.message.empty() ? "nothing reported yet" : "off";
  if (state.skipped_for_safe_mode) {
    return paint(Colour::kWarning, "skipped") + ", the default-route guard is in force";
  }
  if (state.applied) return paint(Colour::kGood, "in force");
  return IsRemoved(state) ? "removed" : "not attempted";
}

std::string SourceText(const std::string& source) {
  if (source == "RDP_TCP_ESTABLISHED") return "Remote Desktop connection";
  if (source == "WTS") return "Remote Desktop session";
  return Shown(source);
}

std::string AddressText(const std::string& ip, bool required, const std::string& source,
                        const std::string& rest) {
  std::string text = Padded(Shown(ip), kIpColumns) +
                     Padded(required ? "required" : "optional", kNeedColumns) +
                     Padded(SourceText(source), kSourceColumns) + rest;
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

std::string RouteText(const HostRouteResult& route, const Painter& paint) {
  if (route.add_success) {
    return paint(Colour::kGood,
                 route.add_attempted && !route.already_exists ? "added" : "already present");
  }
  std::string text = paint(Colour::kBad, "failed") + ": " + Shown(route.error_message);
  if (route.win32_error_code != 0) text += WindowsError(route.win32_error_code);
  const bool other = !route.existing_route_gateway.empty() &&
                     (route.existing_route_gateway != route.gateway ||
                      route.existing_route_interface_index != route.interface_index);
  if (other) {
    text += "; its route goes through " + Shown(route.existing_route_gateway) + " on interface " +
            Shown(route.existing_route_interface_index);
  }
  return text;
}

std::string AddressRows(const BypassReport& report, const Painter& paint) {
  const char* label = !report.state.failure_reason.empty() ? "tried"
                      : IsRemoved(report.state)            ? "were pinned"
                                                           : "addresses";
  std::vector<std::string> texts;
  for (const HostRouteResult& route : report.routes) {
    texts.push_back(AddressText(route.ip, route.required, route.source, RouteText(route, paint)));
  }
  if (!texts.empty()) return Rows(label, texts);
  for (const SelectedAddress& address : report.selected) {
    texts.push_back(AddressText(address.ip, address.required, address.source, ""));
  }
  return Rows("addresses", texts);
}

// "203.0.113.5:ok(metric=1);198.51.100.7:missing;", one address per row.
std::string SummaryRows(const char* label, const std::string& summary) {
  std::vector<std::string> texts;
  for (const std::string_view element : Split(summary, ';')) {
    if (element.empty()) continue;
    const std::size_t colon = element.find(':');
    texts.push_back(colon == std::string_view::npos
                        ? Shown(element)
                        : Padded(Shown(element.substr(0, colon)), kIpColumns) +
                              Shown(element.substr(colon + 1)));
  }
  return Rows(label, texts);
}

// The tokens of the admin settings that were not used as an address.
std::string UnusedTokenRows(const BypassReport& report) {
  std::vector<std::string> texts;
  for (const std::string& token : report.admin_tokens) {
    const bool used =
        std::any_of(report.selected.begin(), report.selected.end(),
                    [&token](const SelectedAddress& address) { return address.ip == token; });
    if (!used) texts.push_back(Shown(token) + ", not a public IPv4 address of another machine");
  }
  return Rows("not used", texts);
}

}  // namespace

std::string BypassScreen(const BypassReport& report, const Painter& paint) {
  const AdminBypassState& state = report.state;
  std::string screen =
      paint(Colour::kHeading, "Administrator bypass") + ": " + Outcome(state, paint) + "\n";
  if (!state.message.empty() && !IsRemoved(state)) screen += Row("message", Shown(state.message));
  if (!state.physical_default_gateway_before_tunnel.empty()) {
    screen +=
        Row("gateway", Shown(state.physical_default_gateway_before_tunnel) + " on interface " +
                           Shown(state.physical_interface_index_before_tunnel));
  }
  screen += AddressRows(report, paint);
  screen += UnusedTokenRows(report);
  screen += SummaryRows("before tunnel", state.route_verify_before_tunnel);
  if (state.route_readded_after_tunnel)
    screen += SummaryRows("added again", state.route_add_results);
  screen += SummaryRows("after tunnel", state.route_verify_after_tunnel);
  if (state.auto_stop_seconds > 0 && !IsRemoved(state)) {
    screen += Row("auto-stop", "after " + std::to_string(state.auto_stop_seconds) + " s");
  }
  return screen;
}

}  // namespace veltrane
