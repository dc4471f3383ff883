#pragma once

// What was seen of the program, in the pieces that the invariants judge. Routes are texts as
// simulated::RouteText writes them.

#include <cstdint>
#include <optional>
#include <set>
#include <string>
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
  bool tunnel_stopped = false;
  bool tunnel_running = false;
  bool undisturbed = false;  // nothing has failed or happened since the process began
};

// A timer that has ended.
struct TimerFacts {
  std::int64_t sleeps = 0;
  std::int64_t delay = 0;               // in seconds; 0: not known
  bool may_be_told = false;             // to give up
  std::vector<std::string> calls = {};  // but its sleeps
  std::string phase = {};
};

// A client that sent a request and waited for the end of the connection.
struct ConversationFacts {
  std::size_t size = 0;
  bool has_reply = false;
  bool disturbed = false;  // a call of the pipe failed, or the process ended
};

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
  bool idle = false;  // nothing of the program is between two calls of one errand
  int service_handles = 0;
  int streams = 0;
  std::size_t pipe_instances = 0;
  std::size_t security_records = 0;
  std::vector<std::string> files_with_keys;  // but active.conf and its temporary file
};

struct TunnelFacts {
  bool installed = false;
  bool running = false;

  bool operator==(const TunnelFacts&) const = default;
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
  std::set<std::string> administrators = {};  // whose addresses may be pinned
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
  std::string phase_before, node_before;
  std::string phase_after, node_after;
  TunnelFacts tunnel_before, tunnel_after;
  std::optional<std::string> conf_before, conf_after;
  Promise promise;
  std::vector<std::string> recorded_after;  // routes that the next removal must delete
  std::vector<std::string> created;         // routes that were created for this request
  std::vector<std::string> deleted;
  // The looks at the table, in order: the host routes with a metric of 15 or less that each found.
  std::vector<std::set<std::string>> looks;
  std::size_t looks_before_start = 0;  // how many of them came before the tunnel was started
  bool started = false;                // the tunnel service, with success
  bool stop_sent = false;              // to it, after that
  std::optional<std::string> conf_at_start;
  bool replaced = false;     // no earlier tunnel was running when that one was started
  std::string command_line;  // of the tunnel service afterwards
  std::string due_command_line;
  bool has_own_sid = false;
  bool tunnel_default_route = false;  // afterwards, through an interface with a tunnel's name
  bool key_in_buffer = false;         // of the request, once it has been answered
  std::string open_to_others;        // the file or folder with a key, when its access list is wrong
  std::int64_t sleeps_of_timer = 0;  // since the request was read
  std::size_t timers_after = 0;
  std::int64_t deadline_counts_from = 0;  // seconds since 1970
  // What may have come in between.
  bool failures = false;        // a call that failed by the dice
  bool manager_failed = false;  // among them one of the service control manager
  bool events = false;          // something on the machine
  bool beside_timer = false;    // a timer that tore down
  bool odd_services = false;    // services do not start or stop at once, or are held
  bool odd_files = false;       // another program has active.conf open
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
  bool passive_guard = false;           // the setting that forbids changes before a connect
  bool existence_unknown = false;       // the test for active.conf failed on that thread
  bool thread_refused = false;          // a thread that this one wanted to make
  bool stop_waits = false;              // somebody has stopped the program
  bool joined_twice = false;  // this thread waited for one for which another waited already
  int service_handles = 0;
  int streams = 0;
  std::size_t pipe_instances = 0;
  std::size_t security_records = 0;
};

}  // namespace veltrane::simulation
