#include "ipc/connection_profile.h"

#include <stdexcept>

#include "ipc/message_codec.h"
#include "text/decimal.h"

namespace veltrane {
namespace {

std::int32_t ParsePort(const std::string& text) {
  const Decimal port = ReadDecimal(text);
  switch (port.error) {
    case DecimalError::kNoDigits:
      throw std::invalid_argument("invalid stoi argument");
    case DecimalError::kOutOfRange:
      throw std::out_of_range("stoi argument out of range");
    case DecimalError::kNone:
      break;
  }
  return port.value;
}

}  // namespace

ConnectionProfile ParseProfile(const std::string& request) {
  ConnectionProfile profile;
  profile.node_id = ReadStringField(request, "node_id");
  profile.device_id = ReadStringField(request, "device_id");
  profile.address_cidr = ReadStringField(request, "address_cidr");
  profile.endpoint_host = ReadStringField(request, "endpoint_host");
  profile.server_public_key = ReadStringField(request, "server_public_key");
  profile.client_private_key = ReadStringField(request, "client_private_key");
  profile.client_public_key = ReadStringField(request, "client_public_key");
  profile.pre_shared_key = ReadStringField(request, "pre_shared_key");
  profile.dns_csv = ReadStringField(request, "dns_csv");
  profile.allowed_ips_csv = ReadStringField(request, "allowed_ips_csv");
  profile.display_name = ReadStringField(request, "display_name");
  const std::string port = ReadStringField(request, "endpoint_port");
  if (!port.empty()) profile.endpoint_port = ParsePort(port);
  return profile;
}

}  // namespace veltrane
