#pragma once

#include <string_view>

#include "client/profile/profile.h"

namespace veltrane {

// Reads a profile from one JSON object (RFC 8259) whose members are profile keys with string
// values. Anything else is a problem: an unknown key, a key that appears twice, a value that is not
// a string. It has its own parser because private keys pass through it: a general one leaves copies
// of them in freed memory, and does not report the line of a value.
ProfileReading ReadJsonProfile(std::string_view text);

}  // namespace veltrane
