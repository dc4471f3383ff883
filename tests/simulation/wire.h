#pragma once

// What the rules say about the texts of the pipe and of the files (docs/protocol.md), done a second
// time and as plainly as possible: nothing here is shared with the program.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace veltrane::simulation {

// The string value of a key: behind the first "key", the next colon and white space.
std::string FieldOf(const std::string& request, const std::string& key);

// The words that are refused wherever they are.
bool MentionsPath(const std::string& request);

struct Wish {  // what a connect asks for
  std::string node;
  std::string private_key;
  std::string shared_key;
  std::string address;
  std::string host;
  std::string server_key;
  std::string dns;
  std::string allowed;
  std::optional<std::int64_t> port;  // nullopt: not one that can be read
};
Wish WishOf(const std::string& request);

// The configuration file of a wish.
std::string ConfOf(const Wish& wish);

bool HasCatchAll(const std::string& text);

// The wish as the default-route guard changes it.
Wish Guarded(Wish wish);

// "2026-11-16T02:25:07Z", of seconds since 1970.
std::string TimeText(std::int64_t seconds);

std::string Lower(std::string text);                 // ASCII letters alone
bool IsOn(const std::string& setting);               // 1, true, yes, on in any case
std::int64_t SecondsOf(const std::string& setting);  // 0: no auto-stop
std::vector<std::string> Addresses(const std::string& setting);
bool IsAddress(const std::string& text);
bool IsPublic(const std::string& address);

// A reply, taken apart.
struct Reply {
  bool is_json = false;
  bool ok = false;
  std::string error;
  std::string message;
  std::string phase;
  std::string node;
  bool has_tunnel_running = false;
  bool tunnel_running = false;
  bool has_reports = false;
  bool enabled = false;
  bool applied = false;
  bool ready = false;
  bool skipped = false;
  std::string failure_reason;  // of the bypass
  bool readded = false;
  std::vector<std::string> selected;  // addresses
  std::vector<std::string> required;  // of them
  std::string gateway;
  std::string interface_index;
  bool guard_on = false;
  bool auto_stop_scheduled = false;
  std::int64_t auto_stop_seconds = 0;
  std::string deadline;
};
Reply ReplyOf(const std::string& text);

}  // namespace veltrane::simulation
