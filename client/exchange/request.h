#pragma once

// The requests of the protocol.

#include <optional>
#include <string>
#include <string_view>

#include "client/profile/profile.h"
#include "client/text/secret_text.h"

namespace veltrane {

// A request, or why the service would not understand it as it is meant.
struct RequestBuilding {
  SecretText request;
  std::string problem;  // empty when there is none
};

// Requests without fields: {"op":"status"} and {"op":"disconnect"}.
SecretText PlainRequest(std::string_view op);

// Registers a session nonce; an empty one switches the session check off.
RequestBuilding RegisterRequest(std::string_view nonce);

// A connect with the profile's values that are not empty, and the nonce unless it is empty. The
// service searches the text for its keys, and refuses any request with the name of a configuration
// path in it; a value that would be taken for a key or for such a name is a problem, and so is a
// request of more than 65535 bytes.
RequestBuilding ConnectRequest(const Profile& profile, std::string_view nonce);

}  // namespace veltrane
