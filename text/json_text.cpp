#include "text/json_text.h"

namespace veltrane {

std::string EscapeJson(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    if (c == '"' || c == '\\') escaped.push_back('\\');
    escaped.push_back(c);
  }
  return escaped;
}

void JsonObject::Flag(std::string_view key, bool value) { Add(key, value ? "true" : "false"); }

void JsonObject::Number(std::string_view key, std::int64_t value) {
  Add(key, std::to_string(value));
}

void JsonObject::Text(std::string_view key, std::string_view text) {
  Add(key, '"' + EscapeJson(text) + '"');
}

void JsonObject::OptionalText(std::string_view key, std::string_view text) {
  if (!text.empty()) Text(key, text);
}

void JsonObject::OptionalArray(std::string_view key, std::string_view array) {
  if (!array.empty()) Add(key, array);
}

void JsonObject::Add(std::string_view key, std::string_view value) {
  if (!members_.empty()) members_ += ',';
  members_.append("\"").append(key).append("\":").append(value);
}

}  // namespace veltrane
