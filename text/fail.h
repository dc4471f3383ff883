#pragma once

namespace veltrane {

// Stores the message in `error`, unless that is null, and returns false, so that an operation can
// fail in one statement. For narrow and wide strings.
template <typename Text>
bool Fail(Text* error, const typename Text::value_type* message) {
  if (error != nullptr) *error = message;
  return false;
}

}  // namespace veltrane
