#pragma once

// A connection profile, whatever kind of file it came from.

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "client/text/secret_text.h"

namespace veltrane {

// The keys of a connect request, in the order in which they are sent and shown.
enum class ProfileKey {
  kNodeId,
  kDeviceId,
  kDisplayName,
  kAddress,
  kEndpointHost,
  kEndpointPort,
  kServerPublicKey,
  kClientPrivateKey,
  kClientPublicKey,
  kPreSharedKey,
  kDns,
  kAllowedIps,
};

inline constexpr std::array<const char*, 12> kProfileKeyNames = {
    "node_id",           "device_id",      "display_name",      "address_cidr",
    "endpoint_host",     "endpoint_port",  "server_public_key", "client_private_key",
    "client_public_key", "pre_shared_key", "dns_csv",           "allowed_ips_csv",
};

// What the author of a profile calls the keys of a request, in the same order.
using ProfileKeyWords = std::array<const char*, kProfileKeyNames.size()>;

inline constexpr ProfileKeyWords kConfKeyWords = {
    "node_id",   "device_id",  "display_name", "Address",      "Endpoint", "Endpoint",
    "PublicKey", "PrivateKey", "PublicKey",    "PresharedKey", "DNS",      "AllowedIPs",
};

// A value and the line it was found on; 0 for a value from the command line and for a missing one.
struct ProfileValue {
  SecretText text;
  std::size_t line = 0;

  std::string_view View() const { return text.View(); }
  bool IsEmpty() const { return text.IsEmpty(); }
};

// The values of a profile. Empty ones are not sent.
class Profile {
 public:
  ProfileValue& operator[](ProfileKey key) { return values_[static_cast<std::size_t>(key)]; }
  const ProfileValue& operator[](ProfileKey key) const {
    return values_[static_cast<std::size_t>(key)];
  }

 private:
  std::array<ProfileValue, kProfileKeyNames.size()> values_;
};

// What is wrong with a profile and how to fix it. Never contains key material.
struct ProfileProblem {
  std::size_t line = 0;  // 0 for the file as a whole
  std::string text;
};

// The profile, or what is wrong with it.
struct ProfileReading {
  std::optional<Profile> profile;
  ProfileProblem problem;
};

}  // namespace veltrane
