#pragma once

// What was seen of the program, in the pieces that the invariants judge. Routes are texts as
// simulated::RouteText writes them.

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/simulation/baton.h"

namespace veltrane::simulation {

// A key begins with this word, and nothing else contains it.
inline constexpr char kSecret[] = "SECRET-";

// One boundary call of the program, just before it has its effect.
struct CallFacts {
  Role role = Role::kPipe;
  bool serves = false;  // the program serves the pipe, as against an installer or a dry run
  std::string name;
  std::string text;                     // with the name
  std::optional<std::uint32_t> failed;  // with this status, by the dice
  bool changes = false;                 // routes, services or files
  std::vector<std::string> recorded;    // the routes that the program may delete now
  std::optional<std::string> gateway;   // "192.168.1.1 if 12": the best way, as it was told last
  std::int64_t timer_sleeps = 0;        // of the calling timer
  std::int64_t timer_delay = 0;         // and how long it has to wait, in seconds
  bool timer_outlives_stop = false;     // the one that there was when the stop began
  std::vector<std::uint32_t> states;    // that the service has reported, this one included
  int polls = 0;                        // of the tunnel's state since it was told to stop
  bool tunnel_installed = false;
  bool tunnel_stopped = false;
  bool tunnel_running = false;
  bool file_is_there = false;  // which TestExistence asks for
  bool undisturbed = false;    // nothing has failed or happened since the process began
  int locks = 0;               // that the calling thread holds
};

// The call that a thread made last.
struct LastCall {
  std::string name = {};
  std::optional<std::uint32_t> failed = {};
};

// A client that sent a request and waited for the end of the connection.
struct ConversationFacts {
  std::size_t size = 0;
  bool has_reply = false;
  bool disturbed = false;  // a call of the pipe failed, or the process ended
};

// What the program has open.
struct OpenThings {
  int service_handles = 0;
  int streams = 0;
  std::size_t pipe_instances = 0;
  std::size_t security_records = 0;
  std::size_t libraries = 0;
  int locks = 0;

  bool operator==(const OpenThings&) const = default;
};

// "1 service handles, 0 files, ...".
std::string OpenText(const OpenThings& open);

// The phase and the node.
using Phase = std::pair<std::string, std::string>;

// What is so at one moment, between two turns.
struct MomentFacts {
  bool process_lives = false;
  bool has_server = false;
  bool serves_connect = false;
  bool prepares_connect = false;  // a connect has begun and not yet started the tunnel, alone
  std::string phase;
  std::string node;
  std::size_t timers = 0;
  std::size_t pipe_threads = 0;
  bool idle = false;       // nothing of the program is between two calls of one errand
  std::set<Phase> phases;  // that it can be, after what the program has answered
  OpenThings open;
  bool looked_for_keys = false;
  std::vector<std::string> files_with_keys;  // but active.conf and its temporary file
};

struct TunnelFacts {
  bool installed = false;
  bool running = false;

  bool operator==(const TunnelFacts&) const = default;
};

// A timer that has ended.
struct TimerFacts {
  std::int64_t sleeps = 0;            // before its teardown
  std::int64_t delay = 0;             // in seconds
  bool may_be_told = false;           // to give up
  std::vector<CallFacts> calls = {};  // of its teardown
  Phase phase = {};                   // afterwards, and what else is left
  TunnelFacts tunnel = {};
  std::optional<std::string> conf = {};
  std::vector<std::string> due = {};       // the routes that it found recorded, in order
  std::vector<std::string> recorded = {};  // and those that still are
  // What may have come in between.
  bool beside_connect = false;
  bool events = false;
  bool odd_services = false;
  bool odd_files = false;
};

// What the rules promise for a request before it is served, from the settings and the machine as
// they are then.
struct Promise {
  enum class Kind { kReply, kEnd, kGoesOn };
  Kind kind = Kind::kReply;  // kGoesOn: a connect that is not refused before the tunnel starts
  std::string error = {};    // empty: ok
  std::string reason = {};   // of the bypass report, with admin_bypass_failed
  bool bypass = false;       // administrators are pinned
  bool guard = false;        // the default-route guard is in force
  std::string conf = {};     // the file that a connect writes
  std::int64_t delay = 0;    // of the auto-stop timer
};

// What the machine has shown to a connect, call by call, and what follows from it by the rules.
struct ShownFacts {
  bool remote = false;                  // the process is in a Remote Desktop session
  bool guard = false;                   // the default-route guard is in force
  bool guard_of_machine = false;        // the machine's value alone would put it in force
  bool bypass = false;                  // is on
  std::int64_t delay = 0;               // of the auto-stop timer, in seconds
  std::set<std::string> selected = {};  // addresses to be pinned
  std::set<std::string> required = {};  // those of them that must be
  std::set<std::string> unsure = {};    // whose text could not be read or written once
  std::optional<std::string> way = {};  // "192.168.1.1 if 12", the way around the tunnel

  bool Pins() const { return bypass && !guard; }
};

// One look at the forward table.
struct Look {
  std::set<std::string> pinned = {};  // "203.0.113.5 via 192.168.1.1 if 12", metric 15 or less
  bool tunnel_default = false;        // a default route through an interface with a tunnel's name
};

// An attempt to pin an address.
struct Attempt {
  std::string address;
  bool succeeded = false;
  std::size_t looks = 0;  // that came before it
};

// One request and what was done for it.
struct ExchangeFacts {
  std::string request;
  std::optional<std::string> reply;  // nullopt: it could not be written
  std::vector<CallFacts> calls;      // of the pipe thread, in order
  std::string op;
  std::string wished_node;
  bool client_names_key = false;  // in a place from which replies are made
  std::string nonce;              // that is registered
  bool counted = false;           // a connect has begun, or a stop
  std::set<Phase> phases_before;  // that it could be, after what had been answered
  std::string phase_after, node_after;
  TunnelFacts tunnel_before, tunnel_after;
  std::optional<std::string> conf_before, conf_after;
  Promise promise;
  std::vector<std::string> recorded_after;  // routes that the next removal must delete
  std::vector<std::string> created;         // routes that were created for this request
  std::vector<std::string> deleted;
  ShownFacts shown;
  std::vector<Look> looks;  // in order
  std::vector<Attempt> attempts;
  std::size_t looks_before_start = 0;  // how many of the looks came before the tunnel was started
  bool started = false;                // the tunnel service, with success
  bool stop_sent = false;              // to it, after that
  std::optional<std::string> conf_at_start;
  bool replaced = false;     // no earlier tunnel was running when that one was started
  std::string command_line;  // of the tunnel service afterwards
  std::string due_command_line;
  bool has_own_sid = false;
  bool key_in_buffer = false;        // of the request, once it has been answered
  bool looked_at_access = false;     // of a file or folder with a key
  std::string open_to_others;        // the file or folder with a key, when its access list is wrong
  std::int64_t sleeps_of_timer = 0;  // since the request was read
  std::size_t timers_after = 0;
  std::int64_t deadline_counts_from = 0;  // seconds since 1970
  // What may have come in between.
  bool failures = false;      // a call that failed by the dice
  bool events = false;        // something on the machine
  bool beside_timer = false;  // a timer that tore down
  bool odd_services = false;  // services do not start or stop at once, or are held
  bool odd_files = false;     // another program has active.conf open
  bool IsCalm() const { return !failures && !events && !beside_timer; }
};

// How a process ended by itself.
struct EndFacts {
  std::string by;  // "abort", "terminate"; empty: its main function returned
  std::string thread;
  int exit_code = 0;
  std::vector<std::wstring> arguments;
  std::size_t other_threads = 0;        // of the program
  std::optional<ExchangeFacts> served;  // the request that was being served
  LastCall last_call;                   // of that thread
  std::string last_pipe_call;           // of the pipe thread; empty: there is none
  bool timer_tears_down = false;
  bool passive_guard = false;   // the setting that forbids changes before a connect, as it was read
  bool thread_refused = false;  // that this thread wanted to make, and called nothing since
  bool stop_is_served = false;  // the service has reported that it stops, and not that it has
  bool console_stops = false;   // the console's handler runs
  bool cannot_wake = false;     // the stop could not open the pipe
  bool joined_twice = false;    // this thread waited for one for which another waited already
  std::vector<CallFacts> calls;  // of the main thread, where nothing is served
  int library_answers = 0;       // the exit code to which the tunnel's library leads
  OpenThings open;
};

}  // namespace veltrane::simulation
