#include "ipc/message_codec.h"

#include <cctype>
#include <cstddef>

namespace veltrane {
namespace {

constexpr std::size_t kNotFound = std::string_view::npos;

// Returns the character that a backslash and `c` stand for, or zero when they are not an escape.
char EscapedCharacter(char c) {
  switch (c) {
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    case '"':
    case '/':
    case '\\':
      return c;
    default:
      return '\0';
  }
}

std::string Unescape(std::string_view raw) {
  std::string text;
  text.reserve(raw.size());
  for (std::size_t i = 0; i < raw.size(); ++i) {
    const bool pair = raw[i] == '\\' && i + 1 < raw.size();
    const char escaped = pair ? EscapedCharacter(raw[i + 1]) : '\0';
    if (escaped == '\0') {
      text.push_back(raw[i]);
    } else {
      text.push_back(escaped);
      ++i;
    }
  }
  return text;
}

// Returns the position of the quote that ends the string whose first character is at `begin`.
std::size_t FindClosingQuote(std::string_view request, std::size_t begin) {
  for (std::size_t i = begin; i < request.size(); ++i) {
    if (request[i] == '"') return i;
    if (request[i] == '\\') ++i;
  }
  return kNotFound;
}

}  // namespace

std::string ReadStringField(std::string_view request, std::string_view key) {
  const std::string needle = '"' + std::string(key) + '"';
  const std::size_t found = request.find(needle);
  if (found == kNotFound) return {};
  const std::size_t colon = request.find(':', found);
  if (colon == kNotFound) return {};
  std::size_t begin = colon + 1;
  while (begin < request.size() && std::isspace(static_cast<unsigned char>(request[begin])) != 0) {
    ++begin;
  }
  if (begin == request.size() || request[begin] != '"') return {};
  ++begin;
  const std::size_t end = FindClosingQuote(request, begin);
  if (end == kNotFound) return {};
  return Unescape(request.substr(begin, end - begin));
}

std::string ReadOp(std::string_view request) { return ReadStringField(request, "op"); }

std::string MakeOkReply(const std::string& phase, const std::string& node_id) {
  std::string reply = "{\"ok\":true,\"phase\":\"" + phase + "\"";
  if (!node_id.empty()) reply += ",\"node_id\":\"" + node_id + "\"";
  return reply + "}";
}

std::string MakeErrorReply(const std::string& error, const std::string& message) {
  return "{\"ok\":false,\"error\":\"" + error + "\",\"message\":\"" + message + "\"}";
}

}  // namespace veltrane
