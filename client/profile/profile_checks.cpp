#include "client/profile/profile_checks.h"

#include <string>

#include "client/profile/value_formats.h"
#include "client/text/quoting.h"
#include "client/text/split.h"
#include "client/text/utf8.h"

namespace veltrane {
namespace {

bool IsNameOrAddress(std::string_view text) {
  return IsIpv4(text) || IsIpv6(text) || IsHostName(text);
}

bool IsEndpointHost(std::string_view host) {
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    return IsIpv6(host.substr(1, host.size() - 2));
  }
  return IsIpv4(host) || IsHostName(host);
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

  // Keeps only the first problem.
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
           "has a double quote or a backslash, which would break the service's replies: choose "
           "another, or use --node-id");
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
           "is not a WireGuard key: a key is 32 bytes in base64, 44 characters ending in \"=\"");
    }
  }

  // Every item of a comma-separated list must pass the test.
  void CheckItems(ProfileKey key, bool (*test)(std::string_view), const std::string& wanted) {
    for (const std::string_view item : Split(profile_[key].View(), ',')) {
      if (!test(Trimmed(item))) {
        Fail(key, "contains " + Quoted(Trimmed(item)) + ", which is " + wanted);
        return;
      }
    }
  }

  void CheckAddress() {
    if (!Need(ProfileKey::kAddress, "add the tunnel's own address, such as 10.66.66.7/32")) return;
    CheckItems(ProfileKey::kAddress, IsAddressWithPrefix, "not an address such as 10.66.66.7/32");
  }

  void CheckAllowedIps() {
    constexpr ProfileKey kKey = ProfileKey::kAllowedIps;
    if (!Need(kKey, "add the networks behind the tunnel, such as 10.66.66.0/24")) return;
    CheckItems(kKey, IsAddressWithPrefix, "not a network such as 10.66.66.0/24");
  }

  void CheckEndpoint() {
    if (!Need(ProfileKey::kEndpointHost, "add the server's name or address")) return;
    const std::string_view host = profile_[ProfileKey::kEndpointHost].View();
    if (IsIpv6(host)) {
      Fail(ProfileKey::kEndpointHost,
           "is an IPv6 address without brackets: write [" + Shown(host) + "]");
    } else if (!IsEndpointHost(host)) {
      Fail(ProfileKey::kEndpointHost,
           "is " + Quoted(host) + ", neither a host name nor an address");
    }
    const ProfileValue& port = profile_[ProfileKey::kEndpointPort];
    if (!port.IsEmpty() && !IsPort(port.View())) {
      Fail(ProfileKey::kEndpointPort,
           "is " + Quoted(port.View()) + ": a port is a number from 1 to 65535");
    }
  }

  void CheckDns() {
    if (profile_[ProfileKey::kDns].IsEmpty()) return;
    CheckItems(ProfileKey::kDns, IsNameOrAddress, "neither an address nor a search domain");
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

}  // namespace veltrane
