#pragma once

// Writes JSON by concatenation, in a fixed member order and without whitespace.

#include <cstdint>
#include <string>
#include <string_view>

namespace veltrane {

// Puts a backslash before each double quote and each backslash. Copies every other byte unchanged,
// including control characters.
std::string EscapeJson(std::string_view text);

// A JSON object, written member by member in the order of the calls.
class JsonObject {
 public:
  void Flag(std::string_view key, bool value);
  void Number(std::string_view key, std::int64_t value);
  void Text(std::string_view key, std::string_view text);  // escaped

  // Writes nothing when `text` is empty.
  void OptionalText(std::string_view key, std::string_view text);

  // Copies an array that is already JSON; writes nothing when it is empty.
  void OptionalArray(std::string_view key, std::string_view array);

  // Returns {...}.
  std::string Written() const { return "{" + members_ + "}"; }

 private:
  void Add(std::string_view key, std::string_view value);

  std::string members_;
};

}  // namespace veltrane
