#pragma once

// A second reader of request fields, which follows the rules of docs/protocol.md one by one and
// shares no code with ipc/message_codec.h. Slow and simple on purpose.

#include <optional>
#include <string>

namespace veltrane::naive {

// The value of a field, or an empty text.
std::string Field(const std::string& request, const std::string& key);

// Whether the request contains a word that the service refuses anywhere.
bool IsForbidden(const std::string& request);

// What a number at the beginning of a text can be: white space, one sign, digits; what follows does
// not matter.
struct Number {
  bool has_digits = false;
  bool fits = false;  // into a signed 32-bit number
  long value = 0;     // 0 unless both
};
Number LeadingNumber(const std::string& text);

// What becomes of the profile in a request: nothing when its port is no number, which ends the
// service.
struct Profile {
  std::string node_id;
  std::string device_id;
  std::string address;
  std::string endpoint_host;
  long endpoint_port = 51820;
  std::string server_public_key;
  std::string client_private_key;
  std::string client_public_key;
  std::string pre_shared_key;
  std::string dns;
  std::string allowed_ips;
  std::string display_name;
};
std::optional<Profile> ReadProfile(const std::string& request);

// The configuration file that is written for a profile.
std::string ConfigurationOf(const Profile& profile);

// Whether 0.0.0.0/0 or ::/0 is somewhere in the text.
bool HasCatchAll(const std::string& text);

// What the default-route guard leaves of AllowedIPs.
std::string GuardedAllowedIps(const std::string& allowed_ips, const std::string& address);

}  // namespace veltrane::naive
