#pragma once

// What one run of a story left behind, as it crosses from the process of the run to the one that
// judges it.

#include <cstddef>
#include <string>
#include <vector>

namespace veltrane::faults {

// What is on the machine: the texts of the routes, "VeltraneVpnTunnel$Active running for
// fra-1", by the configuration that it has loaded, "active.conf for fra-1", with ", open to users"
// when its access list is not that of the configuration.
struct Machinery {
  std::vector<std::string> routes;
  std::vector<std::string> services;
  std::vector<std::string> files;

  bool operator==(const Machinery&) const = default;
};

struct Exchange {
  std::string request;
  std::string reply;  // empty: there was none
};

// One boundary call of the story.
struct Call {
  std::string name;
  std::string details;  // its text in the log without the name
  std::size_t nth = 0;  // of this name, 1 being the first
};

// One change that the program asked of the forward table, or an event that says whose a route is.
struct RouteEvent {
  // "create", "delete", "apply" (a connect has reached the bypass), "new process"
  std::string what;
  std::string route;  // its text
  bool done = false;  // the answer was 0
};

// How the process came to its end.
inline constexpr char kLives[] = "lives";
inline constexpr char kFilesystemError[] = "filesystem error";  // terminated by this exception
inline constexpr char kSystemError[] = "system error";          // likewise
inline constexpr char kOtherException[] = "other exception";    // likewise
inline constexpr char kTerminated[] = "terminated";             // without an exception
inline constexpr char kAborted[] = "aborted";
inline constexpr char kHung[] = "hung or crashed";
inline constexpr char kExitBeginning[] = "exit";  // "exit 0": a mode of the program returned this

struct Account {
  // What the story arranged: the addresses that a connect must pin, and whether the guard is on.
  std::vector<std::string> administrators;
  bool guard = false;

  std::vector<Call> calls;  // of a story in which nothing fails, in order
  bool struck = false;      // the call that was to fail has been made

  Machinery before;
  std::string phase_before;  // "connected fra-1"; empty when there is no server
  std::string mode;          // the switch with which the program was started; empty: it was not
  std::string ending = kHung;
  std::vector<Exchange> exchanges;  // of the story, in order
  std::string phase;
  bool timer_expired = false;
  Machinery after;
  std::vector<std::string> open;    // what the program has not closed: "1 pipes"
  bool serves = false;              // the server waits for clients on its pipe
  std::vector<std::string> admits;  // the SIDs in that pipe's access list; none: default security
  std::vector<RouteEvent> routes;   // from the start of the machine to the end of the story
  std::vector<std::string> output;  // lines
  std::vector<std::string> error;   // lines
  std::vector<std::string> debugger;
  std::vector<std::string> states;  // that the service has reported

  // What came next: a disconnect, after a new start where the process had ended, and a connect.
  Exchange disconnect;
  Machinery after_disconnect;
  Exchange connect;
  Machinery after_connect;
};

std::string Serialized(const Account& account);

// The account of a run that came to no end when the text is not a whole account.
Account Deserialized(const std::string& text);

}  // namespace veltrane::faults
