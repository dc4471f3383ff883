#include "client/profile/profile_checks.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "client/text/quoting.h"
#include "client/text/utf8.h"

namespace veltrane {
namespace {

constexpr std::string_view kBase64 =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

bool IsDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

// A number of at most `digits` digits without a leading zero, up to `highest`.
bool IsNumber(std::string_view text, std::size_t digits, int highest) {
  if (text.empty() || text.size() > digits || !std::all_of(text.begin(), text.end(), IsDigit)) {
    return false;
  }
  if (text.size() > 1 && text[0] == '0') return false;
  int value = 0;
  for (const char c : text) value = value * 10 + (c - '0');
  return value <= highest;
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    const std::size_t end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

std::string_view WithoutBlanks(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

bool IsHexGroup(std::string_view text) {
  return !text.empty() && text.size() <= 4 && std::all_of(text.begin(), text.end(), [](char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
  });
}

// The number of 16-bit groups of a colon-separated run; -1 when it is none. An IPv4 address may
// stand for the last two groups.
int CountGroups(std::string_view run, bool last_run) {
  if (run.empty()) return 0;
  const std::vector<std::string_view> parts = Split(run, ':');
  int count = 0;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (IsHexGroup(parts[i])) {
      count += 1;
    } else if (last_run && i + 1 == parts.size() && IsIpv4(parts[i])) {
      count += 2;
    } else {
      return -1;
    }
  }
  return count;
}

bool IsNameOrAddress(std::string_view text) {
  return IsIpv4(text) || IsIpv6(text) || IsHostName(text);
}

bool IsEndpointHost(std::string_view host) {
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    return IsIpv6(host.substr(1, host.size() - 2));
  }
  return IsIpv4(host) || IsHostName(host);
}

// The first item of a comma-separated list that the test refuses.
template <typename Test>
std::optional<std::string> FindBadItem(std::string_view list, Test test) {
  for (const std::string_view item : Split(list, ',')) {
    if (!test(WithoutBlanks(item))) return Shown(WithoutBlanks(item));
  }
  return std::nullopt;
}

class Checker {
 public:
  Checker(const Profile& profile, const ProfileKeyWords& words)
      : profile_(profile), words_(words) {}

  std::optional<ProfileProblem> Run() {
    for (std::size_t i = 0; i < kProfileKeyNames.size(); ++i) {
      CheckText(static_cast<ProfileKey>(i));
    }
    CheckNodeId();
    CheckKey(ProfileKey::kClientPrivateKey, true);
    CheckAddress();
    CheckKey(ProfileKey::kServerPublicKey, true);
    CheckKey(ProfileKey::kPreSharedKey, false);
    CheckKey(ProfileKey::kClientPublicKey, false);
    CheckAllowedIps();
    CheckEndpoint();
    CheckDns();
    return problem_;
  }

 private:
  std::string Name(ProfileKey key) const { return words_[static_cast<std::size_t>(key)]; }

  // Keeps the first problem.
  void Fail(ProfileKey key, const std::string& text) {
    if (!problem_) problem_ = ProfileProblem{profile_[key].line, Name(key) + " " + text};
  }

  bool Need(ProfileKey key, const std::string& advice) {
    if (!profile_[key].IsEmpty()) return true;
    if (!problem_) problem_ = ProfileProblem{0, Name(key) + " is missing: " + advice};
    return false;
  }

  void CheckText(ProfileKey key) {
    if (!IsPrintableUtf8(profile_[key].View())) {
      Fail(key, "has control characters or is not UTF-8: retype it");
    }
  }

  void CheckNodeId() {
    if (!Need(ProfileKey::kNodeId, "add it, or use --node-id")) return;
    if (profile_[ProfileKey::kNodeId].View().find_first_of("\"\\") != std::string_view::npos) {
      Fail(ProfileKey::kNodeId,
           "has a double quote or a backslash, which would break the service's replies: "
           "choose another, or use --node-id");
    }
  }

  void CheckKey(ProfileKey key, bool required) {
    const ProfileValue& value = profile_[key];
    if (value.IsEmpty()) {
      if (required) Need(key, "add the key (44 characters of base64)");
      return;
    }
    if (!IsWireGuardKey(value.View())) {
      Fail(key,
           "is not a WireGuard key: it needs the base64 of 32 bytes, 44 characters ending "
           "in \"=\"");
    }
  }

  void CheckAddress() {
    if (!Need(ProfileKey::kAddress, "add the tunnel's own address, such as 10.66.66.7/32")) return;
    const auto bad = FindBadItem(profile_[ProfileKey::kAddress].View(), IsAddressWithPrefix);
    if (bad)
      Fail(ProfileKey::kAddress, "holds \"" + *bad +
                                     "\", which is no address such as "
                                     "10.66.66.7/32");
  }

  void CheckAllowedIps() {
    if (!Need(ProfileKey::kAllowedIps,
              "add the networks behind the tunnel, such as 10.66.66.0/24")) {
      return;
    }
    const auto bad = FindBadItem(profile_[ProfileKey::kAllowedIps].View(), IsAddressWithPrefix);
    if (bad)
      Fail(ProfileKey::kAllowedIps, "holds \"" + *bad +
                                        "\", which is no network such as "
                                        "10.66.66.0/24");
  }

  void CheckEndpoint() {
    if (!Need(ProfileKey::kEndpointHost, "add the server's name or address")) return;
    const std::string_view host = profile_[ProfileKey::kEndpointHost].View();
    if (IsIpv6(host)) {
      Fail(ProfileKey::kEndpointHost,
           "is an IPv6 address without brackets: write [" + Shown(host) + "]");
    } else if (!IsEndpointHost(host)) {
      Fail(ProfileKey::kEndpointHost,
           "is \"" + Shown(host) + "\", which is neither a host name nor an address");
    }
    const ProfileValue& port = profile_[ProfileKey::kEndpointPort];
    if (!port.IsEmpty() && (!IsNumber(port.View(), 5, 65535) || port.View() == "0")) {
      Fail(ProfileKey::kEndpointPort,
           "is \"" + Shown(port.View()) + "\": a port is a number from 1 to 65535");
    }
  }

  void CheckDns() {
    const ProfileValue& dns = profile_[ProfileKey::kDns];
    if (dns.IsEmpty()) return;
    const auto bad = FindBadItem(dns.View(), IsNameOrAddress);
    if (bad)
      Fail(ProfileKey::kDns, "holds \"" + *bad +
                                 "\", which is neither an address nor a "
                                 "search domain");
  }

  const Profile& profile_;
  const ProfileKeyWords& words_;
  std::optional<ProfileProblem> problem_;
};

}  // namespace

std::optional<ProfileProblem> FindProfileProblem(const Profile& profile,
                                                 const ProfileKeyWords& words) {
  return Checker(profile, words).Run();
}

bool IsWireGuardKey(std::string_view text) {
  if (text.size() != 44 || text.back() != '=') return false;
  const std::string_view digits = text.substr(0, 43);
  if (digits.find_first_not_of(kBase64) != std::string_view::npos) return false;
  // 43 digits are 258 bits; the last two of them belong to no byte.
  return kBase64.find(digits.back()) % 4 == 0;
}

bool IsAddressWithPrefix(std::string_view text) {
  const std::size_t slash = text.find('/');
  const std::string_view address = text.substr(0, slash);
  const bool ipv4 = IsIpv4(address);
  if (!ipv4 && !IsIpv6(address)) return false;
  return slash == std::string_view::npos || IsNumber(text.substr(slash + 1), 3, ipv4 ? 32 : 128);
}

bool IsIpv4(std::string_view text) {
  const std::vector<std::string_view> parts = Split(text, '.');
  return parts.size() == 4 && std::all_of(parts.begin(), parts.end(), [](std::string_view part) {
           return IsNumber(part, 3, 255);
         });
}

bool IsIpv6(std::string_view text) {
  const std::size_t gap = text.find("::");
  if (gap == std::string_view::npos) return CountGroups(text, true) == 8;
  const std::string_view after = text.substr(gap + 2);
  const int left = CountGroups(text.substr(0, gap), false);
  const int right = CountGroups(after, true);
  return left >= 0 && right >= 0 && left + right <= 7;
}

bool IsHostName(std::string_view text) {
  if (text.empty() || text.size() > 253) return false;
  const std::vector<std::string_view> labels = Split(text, '.');
  for (const std::string_view label : labels) {
    if (label.empty() || label.size() > 63 || label.front() == '-' || label.back() == '-') {
      return false;
    }
    for (const char c : label) {
      if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '-' && c != '_') return false;
    }
  }
  return !std::all_of(labels.back().begin(), labels.back().end(), IsDigit);
}

}  // namespace veltrane
