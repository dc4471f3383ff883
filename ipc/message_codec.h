#pragma once

// Request fields and reply envelopes. A request is not parsed as JSON: each string field is found
// by a flat text search. The two envelopes copy their strings without escaping. Clients depend on
// both behaviours. Pure functions.

#include <string>
#include <string_view>

namespace veltrane {

// Returns the unescaped string value of a key: the string after the next colon, wherever that is,
// that follows the first occurrence of the quoted key. Empty when the key or the colon is missing,
// when the value is not a string, and when the string does not end. Understands the escapes \n, \r,
// \t, \", \/ and \\, and keeps a backslash before any other character.
std::string ReadStringField(std::string_view request, std::string_view key);

// Returns the operation of a request, its field "op".
std::string ReadOp(std::string_view request);

// Returns {"ok":true,"phase":"<phase>"}, with a member node_id only when `node_id` is not empty.
std::string MakeOkReply(const std::string& phase, const std::string& node_id);

// Returns {"ok":false,"error":"<error>","message":"<message>"}.
std::string MakeErrorReply(const std::string& error, const std::string& message);

}  // namespace veltrane
