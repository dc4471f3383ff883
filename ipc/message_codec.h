#pragma once

// Requests and reply envelopes. A request is not parsed as JSON: single string fields are found by
// a flat text search, and the two envelopes copy their texts without escaping. Clients rely on both
// exactly as they are. Pure functions.

#include <string>
#include <string_view>

namespace veltrane {

// Returns the unescaped string value behind the first occurrence of the quoted key, taking the next
// colon after that occurrence, wherever it stands. Empty when the key or the colon is missing, when
// the value is not a string, and when the string does not end. The escapes understood are \n, \r,
// \t, \", \/ and \\; a backslash before any other character stays.
std::string ReadStringField(std::string_view request, std::string_view key);

// The operation of a request: its field "op".
std::string ReadOp(std::string_view request);

// {"ok":true,"phase":"<phase>"} with a member node_id only when `node_id` is not empty.
std::string MakeOkReply(const std::string& phase, const std::string& node_id);

// {"ok":false,"error":"<error>","message":"<message>"}
std::string MakeErrorReply(const std::string& error, const std::string& message);

}  // namespace veltrane
