#include "tests/fuzz/naive_codec.h"

#include <algorithm>
#include <vector>

namespace veltrane::naive {
namespace {

// Whether the word is in the text at this place.
bool IsAt(const std::string& text, std::size_t place, const std::string& word) {
  if (place + word.size() > text.size()) return false;
  for (std::size_t i = 0; i < word.size(); ++i) {
    if (text[place + i] != word[i]) return false;
  }
  return true;
}

// The first place of the word at or behind `from`; the size of the text when there is none.
std::size_t Find(const std::string& text, const std::string& word, std::size_t from = 0) {
  for (std::size_t place = from; place < text.size(); ++place) {
    if (IsAt(text, place, word)) return place;
  }
  return text.size();
}

bool Contains(const std::string& text, const std::string& word) {
  return Find(text, word) != text.size();
}

bool IsSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Replaces the escapes in the raw text of a string, from left to right.
std::string Unescaped(const std::string& raw) {
  const std::vector<std::pair<std::string, char>> escapes = {
      {"\\n", '\n'}, {"\\r", '\r'}, {"\\t", '\t'}, {"\\\"", '"'}, {"\\/", '/'}, {"\\\\", '\\'}};
  std::string text;
  std::size_t place = 0;
  while (place < raw.size()) {
    const auto escape = std::find_if(escapes.begin(), escapes.end(), [&](const auto& candidate) {
      return IsAt(raw, place, candidate.first);
    });
    text += escape == escapes.end() ? raw[place] : escape->second;
    place += escape == escapes.end() ? 1 : 2;
  }
  return text;
}

// Takes a number of an address from the front of the text as scanf's %u does on Windows: white
// space, one sign, digits. What is too large for 32 bits counts as the largest such number; a minus
// sign comes after that, and wraps around.
std::optional<unsigned> TakeUnsigned(std::string& text) {
  std::size_t place = 0;
  while (place < text.size() && IsSpace(text[place])) ++place;
  const bool negative = place < text.size() && text[place] == '-';
  if (place < text.size() && (text[place] == '-' || text[place] == '+')) ++place;
  if (place == text.size() || !IsDigit(text[place])) return std::nullopt;
  constexpr unsigned long kLargest = 0xFFFFFFFF;
  unsigned long value = 0;
  for (; place < text.size() && IsDigit(text[place]); ++place) {
    value = std::min(value * 10 + static_cast<unsigned long>(text[place] - '0'), kLargest);
  }
  text.erase(0, place);
  return static_cast<unsigned>(negative ? 0 - value : value);
}

}  // namespace

std::string Field(const std::string& request, const std::string& key) {
  const std::size_t begin_of_key = Find(request, "\"" + key + "\"");
  if (begin_of_key == request.size()) return "";
  std::size_t place = Find(request, ":", begin_of_key);
  if (place == request.size()) return "";
  ++place;
  while (place < request.size() && IsSpace(request[place])) ++place;
  if (place == request.size() || request[place] != '"') return "";
  ++place;
  std::string raw;
  while (place < request.size() && request[place] != '"') {
    const std::size_t length = request[place] == '\\' ? 2 : 1;
    if (place + length > request.size()) return "";
    raw += request.substr(place, length);
    place += length;
  }
  return place == request.size() ? "" : Unescaped(raw);
}

bool IsForbidden(const std::string& request) {
  return Contains(request, "config_path") || Contains(request, "wg_quick_config") ||
         Contains(request, "wgQuickConfig") || Contains(request, "conf_path");
}

Number LeadingNumber(const std::string& text) {
  std::size_t place = 0;
  while (place < text.size() && IsSpace(text[place])) ++place;
  const bool negative = place < text.size() && text[place] == '-';
  if (place < text.size() && (text[place] == '-' || text[place] == '+')) ++place;
  std::string digits;
  for (; place < text.size() && IsDigit(text[place]); ++place) digits += text[place];
  if (digits.empty()) return {};
  digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size()));
  const std::string largest = negative ? "2147483648" : "2147483647";
  if (digits.size() > largest.size() || (digits.size() == largest.size() && digits > largest)) {
    return {true, false, 0};
  }
  long value = 0;
  for (const char digit : digits) value = value * 10 + (digit - '0');
  return {true, true, negative ? -value : value};
}

std::optional<Profile> ReadProfile(const std::string& request) {
  Profile profile;
  profile.node_id = Field(request, "node_id");
  profile.device_id = Field(request, "device_id");
  profile.address = Field(request, "address_cidr");
  profile.endpoint_host = Field(request, "endpoint_host");
  profile.server_public_key = Field(request, "server_public_key");
  profile.client_private_key = Field(request, "client_private_key");
  profile.client_public_key = Field(request, "client_public_key");
  profile.pre_shared_key = Field(request, "pre_shared_key");
  profile.dns = Field(request, "dns_csv");
  profile.allowed_ips = Field(request, "allowed_ips_csv");
  profile.display_name = Field(request, "display_name");
  const std::string port = Field(request, "endpoint_port");
  if (port.empty()) return profile;
  const Number number = LeadingNumber(port);
  if (!number.fits) return std::nullopt;
  profile.endpoint_port = number.value;
  return profile;
}

std::string ConfigurationOf(const Profile& profile) {
  std::string text;
  text += "[Interface]\n";
  text += "PrivateKey = " + profile.client_private_key + "\n";
  text += "Address = " + profile.address + "\n";
  if (!profile.dns.empty()) text += "DNS = " + profile.dns + "\n";
  text += "\n";
  text += "[Peer]\n";
  text += "PublicKey = " + profile.server_public_key + "\n";
  if (!profile.pre_shared_key.empty()) text += "PresharedKey = " + profile.pre_shared_key + "\n";
  text += "AllowedIPs = " + profile.allowed_ips + "\n";
  text +=
      "Endpoint = " + profile.endpoint_host + ":" + std::to_string(profile.endpoint_port) + "\n";
  text += "PersistentKeepalive = 25\n";
  return text;
}

bool HasCatchAll(const std::string& text) {
  return Contains(text, "0.0.0.0/0") || Contains(text, "::/0");
}

std::string GuardedAllowedIps(const std::string& allowed_ips, const std::string& address) {
  if (!HasCatchAll(allowed_ips)) return allowed_ips;
  std::string rest = address;
  std::vector<unsigned> numbers;
  for (int i = 0; i < 4; ++i) {
    if (i > 0 && (rest.empty() || rest[0] != '.')) break;
    if (i > 0) rest.erase(0, 1);
    const std::optional<unsigned> number = TakeUnsigned(rest);
    if (!number) break;
    numbers.push_back(*number);
  }
  if (numbers.size() < 4) return "10.66.66.0/24";
  return std::to_string(numbers[0]) + "." + std::to_string(numbers[1]) + "." +
         std::to_string(numbers[2]) + ".0/24";
}

}  // namespace veltrane::naive
