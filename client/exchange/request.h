#pragma once

// Building the requests of the protocol.

#include <optional>
#include <string>
#include <string_view>

#include "client/profile/profile.h"
#include "client/text/secret_text.h"

namespace veltrane {

// A request, or why the service would misread it.
struct RequestBuilding {
  SecretText request;
  std::string problem;  // empty when there is none
};

// Requests without fields: {"op":"status"} and {"op":"disconnect"}.
SecretText PlainRequest(std::string_view op);

// Registers a session nonce; an empty one turns the session check off.
RequestBuilding RegisterRequest(std::string_view nonce);

// A connect with the non-empty values of the profile, and the nonce unless it is empty. The service
// searches the text for its keys, and refuses any request that names a configuration path. So a
// value that it would mistake for a key or such a name is a problem, and so is a request of more
// than 65535 bytes.
RequestBuilding ConnectRequest(const Profile& profile, std::string_view nonce);

}  // namespace veltrane
