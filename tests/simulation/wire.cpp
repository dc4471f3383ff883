#include "tests/simulation/wire.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <sstream>

#include <nlohmann/json.hpp>

namespace veltrane::simulation {
namespace {

using Json = nlohmann::json;

std::string TextIn(const Json& object, const char* key) {
  const auto member = object.find(key);
  return member != object.end() && member->is_string() ? member->get<std::string>() : "";
}

bool FlagIn(const Json& object, const char* key) {
  const auto member = object.find(key);
  return member != object.end() && member->is_boolean() && member->get<bool>();
}

std::optional<std::int64_t> PortOf(const std::string& text) {
  if (text.empty()) return 51820;
  char* end = nullptr;
  errno = 0;
  const long number = std::strtol(text.c_str(), &end, 10);
  if (end == text.c_str() || errno == ERANGE) return std::nullopt;
  if (number < INT32_MIN || number > INT32_MAX) return std::nullopt;
  return number;
}

}  // namespace

std::string FieldOf(const std::string& request, const std::string& key) {
  std::size_t at = request.find("\"" + key + "\"");
  if (at == std::string::npos) return "";
  at = request.find(':', at);
  if (at == std::string::npos) return "";
  at = request.find_first_not_of(" \t\n\v\f\r", at + 1);
  if (at == std::string::npos || request[at] != '"') return "";
  std::string value;
  for (++at; at < request.size(); ++at) {
    if (request[at] == '"') return value;
    if (request[at] != '\\' || at + 1 == request.size()) {
      value += request[at];
      continue;
    }
    static const std::string kEscapes = "nrt\"/\\";
    static const std::string kMeanings = "\n\r\t\"/\\";
    const std::size_t escape = kEscapes.find(request[++at]);
    if (escape == std::string::npos) {
      value += '\\';
      value += request[at];
    } else {
      value += kMeanings[escape];
    }
  }
  return "";  // the string does not end
}

bool MentionsPath(const std::string& request) {
  for (const char* word : {"conf_path", "config_path", "wgQuickConfig", "wg_quick_config"}) {
    if (request.find(word) != std::string::npos) return true;
  }
  return false;
}

Wish WishOf(const std::string& request) {
  return {.node = FieldOf(request, "node_id"),
          .private_key = FieldOf(request, "client_private_key"),
          .shared_key = FieldOf(request, "pre_shared_key"),
          .address = FieldOf(request, "address_cidr"),
          .host = FieldOf(request, "endpoint_host"),
          .server_key = FieldOf(request, "server_public_key"),
          .dns = FieldOf(request, "dns_csv"),
          .allowed = FieldOf(request, "allowed_ips_csv"),
          .port = PortOf(FieldOf(request, "endpoint_port"))};
}

std::string ConfOf(const Wish& wish) {
  std::ostringstream conf;
  conf << "[Interface]\nPrivateKey = " << wish.private_key << "\nAddress = " << wish.address
       << "\n";
  if (!wish.dns.empty()) conf << "DNS = " << wish.dns << "\n";
  conf << "\n[Peer]\nPublicKey = " << wish.server_key << "\n";
  if (!wish.shared_key.empty()) conf << "PresharedKey = " << wish.shared_key << "\n";
  conf << "AllowedIPs = " << wish.allowed << "\nEndpoint = " << wish.host << ":"
       << wish.port.value_or(0) << "\nPersistentKeepalive = 25\n";
  return conf.str();
}

bool HasCatchAll(const std::string& text) {
  return text.find("0.0.0.0/0") != std::string::npos || text.find("::/0") != std::string::npos;
}

Wish Guarded(Wish wish) {
  if (HasCatchAll(wish.allowed)) {
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    const bool ipv4 = std::sscanf(wish.address.c_str(), "%u.%u.%u.%u", &a, &b, &c, &d) == 4;
    wish.allowed =
        ipv4 ? std::to_string(a) + "." + std::to_string(b) + "." + std::to_string(c) + ".0/24"
             : "10.66.66.0/24";
  }
  wish.dns.clear();
  return wish;
}

std::string TimeText(std::int64_t seconds) {
  const std::time_t time = seconds;
  std::tm parts{};
  gmtime_r(&time, &parts);
  char text[32];
  std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

bool IsOn(const std::string& setting) {
  const std::string word = Lower(setting);
  return word == "1" || word == "true" || word == "yes" || word == "on";
}

std::int64_t SecondsOf(const std::string& setting) {
  char* end = nullptr;
  errno = 0;
  const long number = std::strtol(setting.c_str(), &end, 10);
  if (end == setting.c_str() || errno == ERANGE || number > INT32_MAX) return 0;
  return std::max(number, 0L);
}

std::vector<std::string> Addresses(const std::string& setting) {
  std::string spaced = setting;
  for (char& c : spaced) {
    if (c == ',' || c == ';') c = ' ';
  }
  std::istringstream words(spaced);
  std::vector<std::string> addresses;
  for (std::string word; words >> word;) addresses.push_back(word);
  return addresses;
}

namespace {

// The four numbers of an address; empty when it is none.
std::vector<int> NumbersOf(const std::string& address) {
  std::vector<int> numbers;
  std::istringstream text(address + ".");
  for (std::string part; std::getline(text, part, '.');) {
    const bool digits = !part.empty() && part.size() <= 3 &&
                        part.find_first_not_of("0123456789") == std::string::npos;
    if (!digits || (part.size() > 1 && part[0] == '0') || std::stoi(part) > 255) return {};
    numbers.push_back(std::stoi(part));
  }
  return numbers.size() == 4 ? numbers : std::vector<int>();
}

}  // namespace

bool IsAddress(const std::string& text) { return !NumbersOf(text).empty(); }

bool IsPublic(const std::string& address) {
  const std::vector<int> numbers = NumbersOf(address);
  if (numbers.empty() || numbers == std::vector<int>{0, 0, 0, 0}) return false;
  if (numbers[0] == 10 || numbers[0] == 127) return false;
  if (numbers[0] == 172 && numbers[1] >= 16 && numbers[1] < 32) return false;
  return !(numbers[0] == 192 && numbers[1] == 168) && !(numbers[0] == 169 && numbers[1] == 254);
}

Reply ReplyOf(const std::string& text) {
  Reply reply;
  const Json json = Json::parse(text, nullptr, false);
  reply.is_json = json.is_object();
  if (!reply.is_json) return reply;
  reply.ok = FlagIn(json, "ok");
  reply.error = TextIn(json, "error");
  reply.message = TextIn(json, "message");
  reply.phase = TextIn(json, "phase");
  reply.node = TextIn(json, "node_id");
  reply.has_tunnel_running = json.contains("tunnel_running");
  reply.tunnel_running = FlagIn(json, "tunnel_running");
  reply.has_reports = json.contains("admin_bypass") && json.contains("poc_route_guard");
  if (!reply.has_reports) return reply;
  const Json& bypass = json["admin_bypass"];
  reply.enabled = FlagIn(bypass, "enabled");
  reply.applied = FlagIn(bypass, "applied");
  reply.ready = FlagIn(bypass, "routes_ready_before_tunnel");
  reply.skipped = FlagIn(bypass, "skipped_for_safe_mode");
  reply.readded = FlagIn(bypass, "route_readded_after_tunnel");
  reply.failure_reason = TextIn(bypass, "failure_reason");
  reply.gateway = TextIn(bypass, "gateway");
  reply.interface_index = TextIn(bypass, "physical_interface_index_before_tunnel");
  if (bypass.contains("selected_bypass_ip_entries")) {
    for (const Json& entry : bypass["selected_bypass_ip_entries"]) {
      reply.selected.push_back(TextIn(entry, "ip"));
      if (FlagIn(entry, "required")) reply.required.push_back(TextIn(entry, "ip"));
    }
  }
  const Json& guard = json["poc_route_guard"];
  reply.guard_on = FlagIn(guard, "effective_disable_default_route");
  reply.auto_stop_scheduled = FlagIn(guard, "auto_stop_scheduled");
  reply.auto_stop_seconds = guard.value("auto_stop_seconds", std::int64_t{0});
  reply.deadline = TextIn(guard, "auto_stop_deadline_utc");
  return reply;
}

}  // namespace veltrane::simulation
