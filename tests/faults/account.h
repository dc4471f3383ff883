#pragma once

// What one run of a story left behind, as it crosses from the process of the run to the one that
// judges it.

#include <cstddef>
#include <string>
#include <vector>

namespace veltrane::faults {

// What is on the machine: the texts of the routes, "VeltraneVpnTunnel$Active running for
// fra-1", by the configuration that it has loaded, with ", marked for deletion" and ", old command
// line" where that is so, "active.conf for fra-1", with ", open to users" when its access list is
// not that of the configuration.
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
inline constexpr char kKilled[] = "killed by Ctrl+C";  // by the system: nobody handled the event
inline constexpr char kHung[] = "hung or crashed";
inline constexpr char kExitBeginning[] = "exit";  // "exit 0": a mode of the program returned this

// A setting that the story made.
struct Setting {
  std::string read_by;  // what the call that reads it says: "HKLM ADMIN_BYPASS_IP"; of the process:
                        // "VELTRANE_POC_ADMIN_BYPASS"
  std::string value;
};

// When the auto-stop timer has been let expire.
inline constexpr char kTimerCounts[] = "";      // it has not, or there is none
inline constexpr char kTimerFirst[] = "first";  // before the request in which it expires is through
inline constexpr char kTimerLast[] = "last";    // when everything else was done

struct Account {
  // What the story arranged: where it leads (see Story), the settings, the addresses that a connect
  // must pin, the remote addresses of all connections to the Remote Desktop port in the system's
  // order, whether the guard is on, and whether another program has the tunnel service open until
  // the story ends.
  std::string leads_to;
  std::vector<Setting> settings;
  std::vector<std::string> administrators;
  std::vector<std::string> connections;
  bool guard = false;
  bool held = false;

  std::vector<Call> calls;  // of a story in which nothing fails, in order
  Call struck;              // the call that was to fail; without a name until it has been made

  Machinery before;
  std::string phase_before;  // "connected fra-1"; empty when there is no server
  std::string mode;          // the switch with which the program was started; empty: it was not
  std::string ending = kHung;
  std::vector<Exchange> exchanges;  // of the story, in order
  std::string phase;
  std::string timer = kTimerCounts;
  Machinery after;
  std::vector<std::string> open;    // what the program has not closed: "1 pipes", "1 locks"
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
  std::vector<std::string> open_after_connect;
};

std::string Serialized(const Account& account);

// The account of a run that came to no end when the text is not a whole account.
Account Deserialized(const std::string& text);

}  // namespace veltrane::faults
