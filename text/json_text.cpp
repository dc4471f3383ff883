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

std::string JsonBool(std::string_view key, bool value) {
  return JsonRaw(key, value ? "true" : "false");
}

std::string JsonText(std::string_view key, std::string_view text) {
  return JsonRaw(key, '"' + EscapeJson(text) + '"');
}

std::string JsonRaw(std::string_view key, std::string_view value) {
  std::string member;
  member.reserve(key.size() + value.size() + 3);
  member.push_back('"');
  member.append(key).append("\":").append(value);
  return member;
}

std::string OptionalJsonText(std::string_view key, std::string_view text) {
  return text.empty() ? "" : "," + JsonText(key, text);
}

std::string OptionalJsonRaw(std::string_view key, std::string_view value) {
  return value.empty() ? "" : "," + JsonRaw(key, value);
}

}  // namespace veltrane
