#include "tunnel/wireguard_config.h"

namespace veltrane {
namespace {

std::string Line(const char* key, const std::string& value) {
  return std::string(key) + " = " + value + "\n";
}

std::string OptionalLine(const char* key, const std::string& value) {
  return value.empty() ? "" : Line(key, value);
}

}  // namespace

std::string RenderWireGuardConfig(const ConnectionProfile& profile) {
  std::string text = "[Interface]\n";
  text += Line("PrivateKey", profile.client_private_key);
  text += Line("Address", profile.address_cidr);
  text += OptionalLine("DNS", profile.dns_csv);
  if (profile.mtu > 0) text += Line("MTU", std::to_string(profile.mtu));
  text += "\n[Peer]\n";
  text += Line("PublicKey", profile.server_public_key);
  text += OptionalLine("PresharedKey", profile.pre_shared_key);
  text += Line("AllowedIPs", profile.allowed_ips_csv);
  text += Line("Endpoint", profile.endpoint_host + ":" + std::to_string(profile.endpoint_port));
  text += Line("PersistentKeepalive", std::to_string(profile.persistent_keepalive));
  return text;
}

}  // namespace veltrane
