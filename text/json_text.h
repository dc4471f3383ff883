#pragma once

// Writing JSON by concatenation: fixed member order, no blanks.

#include <cstdint>
#include <string>
#include <string_view>

namespace veltrane {

// Puts a backslash before each double quote and each backslash; every other byte, control
// characters included, is copied unchanged.
std::string EscapeJson(std::string_view text);

// One object, written member by member in the order of the calls.
class JsonObject {
 public:
  void Flag(std::string_view key, bool value);
  void Number(std::string_view key, std::int64_t value);
  void Text(std::string_view key, std::string_view text);  // escaped

  // Nothing for an empty text.
  void OptionalText(std::string_view key, std::string_view text);

  // An array that is ready JSON and is copied verbatim; nothing for an empty text.
  void OptionalArray(std::string_view key, std::string_view array);

  // {...}
  std::string Written() const { return "{" + members_ + "}"; }

 private:
  void Add(std::string_view key, std::string_view value);

  std::string members_;
};

}  // namespace veltrane
