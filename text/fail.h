#pragma once

namespace veltrane {

// How an operation that returns a boolean fails: stores the message for a caller who wants it
// (`error` may be null) and answers false. For narrow and wide texts.
template <typename Text>
bool Fail(Text* error, const typename Text::value_type* message) {
  if (error != nullptr) *error = message;
  return false;
}

}  // namespace veltrane
