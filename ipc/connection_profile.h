#pragma once

#include <cstdint>
#include <string>

namespace veltrane {

// The connection that a connect request describes. Strings are neither trimmed nor validated.
struct ConnectionProfile {
  std::string node_id;
  std::string device_id;
  std::string address_cidr;
  std::string endpoint_host;
  std::int32_t endpoint_port = 51820;  // any 32-bit number: the range is not checked
  std::string server_public_key;
  std::string client_private_key;
  std::string client_public_key;
  std::string pre_shared_key;
  std::string dns_csv;
  std::string allowed_ips_csv;
  std::int32_t persistent_keepalive = 25;  // seconds; no request sets it
  std::int32_t mtu = 0;                    // bytes; no request sets it
  std::string display_name;
};

// Reads a profile from the text of a connect request. A field that is missing or not a string
// leaves its member empty, and the port at its default. Throws std::invalid_argument ("invalid stoi
// argument") when the port does not begin with a number, std::out_of_range ("stoi argument out of
// range") when that number exceeds 32 bits.
ConnectionProfile ParseProfile(const std::string& request);

}  // namespace veltrane
