#include "client/exchange/reply.h"

#include <nlohmann/json.hpp>

#include "client/text/utf8.h"

namespace veltrane {
namespace {

using Json = nlohmann::json;

// Escapes control characters as JSON requires. The service writes none between members.
std::string EscapeControls(const std::string& text) {
  constexpr char kHex[] = "0123456789abcdef";
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20) {
      escaped += c;
    } else {
      escaped += "\\u00";
      escaped += kHex[byte >> 4];
      escaped += kHex[byte & 0xF];
    }
  }
  return escaped;
}

// Reads members of an object into variables, and leaves a variable unchanged when its member is
// missing or has another type.
class MemberReader {
 public:
  explicit MemberReader(const Json& object) : object_(object) {}

  void Flag(const char* key, bool& value) const {
    const auto found = object_.find(key);
    if (found != object_.end() && found->is_boolean()) value = found->get<bool>();
  }

  template <typename Integer>
  void Number(const char* key, Integer& value) const {
    const auto found = object_.find(key);
    if (found != object_.end() && found->is_number_integer()) value = found->get<Integer>();
  }

  void Text(const char* key, std::string& text) const {
    const auto found = object_.find(key);
    if (found != object_.end() && found->is_string()) text = found->get<std::string>();
  }

  void OptionalText(const char* key, std::string& text) const { Text(key, text); }

  // Arrays have lists of their own.
  void OptionalArray(const char*, std::string&) const {}

 private:
  const Json& object_;
};

std::vector<std::string> ReadTexts(const Json& object, const char* key) {
  std::vector<std::string> texts;
  for (const Json& item : object.value(key, Json::array())) {
    if (item.is_string()) texts.push_back(item.get<std::string>());
  }
  return texts;
}

SelectedAddress ReadSelected(const Json& object) {
  const MemberReader members(object);
  SelectedAddress address;
  members.Text("ip", address.ip);
  members.Text("source", address.source);
  members.Flag("required", address.required);
  return address;
}

HostRouteResult ReadRoute(const Json& object) {
  const MemberReader members(object);
  HostRouteResult route;
  ListRouteMembers(route, members);
  return route;
}

BypassReport ReadBypass(const Json& object) {
  const MemberReader members(object);
  BypassReport report;
  ListBypassMembers(report.state, members);
  report.admin_tokens = ReadTexts(object, "admin_env_ips");
  for (const Json& item : object.value("selected_bypass_ip_entries", Json::array())) {
    if (item.is_object()) report.selected.push_back(ReadSelected(item));
  }
  for (const Json& item : object.value("route_add_results_detail", Json::array())) {
    if (item.is_object()) report.routes.push_back(ReadRoute(item));
  }
  return report;
}

RouteGuardResult ReadGuard(const Json& object) {
  const MemberReader members(object);
  RouteGuardResult guard;
  ListGuardMembers(guard, members);
  return guard;
}

}  // namespace

std::optional<Reply> ReadReply(std::string_view text) {
  const Json json = Json::parse(EscapeControls(RepairUtf8(text)), nullptr, false);
  if (!json.is_object()) return std::nullopt;
  Reply reply;
  const MemberReader members(json);
  members.Flag("ok", reply.ok);
  members.Text("phase", reply.phase);
  members.Text("node_id", reply.node_id);
  members.Text("error", reply.error);
  members.Text("message", reply.message);
  const auto running = json.find("tunnel_running");
  if (running != json.end() && running->is_boolean()) reply.tunnel_running = running->get<bool>();
  const auto bypass = json.find("admin_bypass");
  if (bypass != json.end() && bypass->is_object()) reply.bypass = ReadBypass(*bypass);
  const auto guard = json.find("poc_route_guard");
  if (guard != json.end() && guard->is_object()) reply.guard = ReadGuard(*guard);
  return reply;
}

}  // namespace veltrane
