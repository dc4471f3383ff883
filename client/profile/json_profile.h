#pragma once

#include <string_view>

#include "client/profile/profile.h"

namespace veltrane {

// Reads a profile that is one JSON object (RFC 8259) whose members are profile keys with string
// values. Anything else is a problem: an unknown key, a key that comes twice, a number or another
// value without quotes. A reader of its own, because private keys pass through it: a general parser
// leaves copies of them in memory that it has given back, and does not tell the line of a value.
ProfileReading ReadJsonProfile(std::string_view text);

}  // namespace veltrane
