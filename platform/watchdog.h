#pragma once

// A process that watches over the one that has started it, its client, and acts when that one ends.
// Units: milliseconds; a line is UTF-8 without its line feed, 4096 bytes at most.
// Errors: Win32 errors.
// Threads: an object belongs to one thread.
// Windows: "CreateProcessW function", "Job Objects", "Named Pipe Operations", "WM_QUERYENDSESSION
// message", "Application Shutdown Changes in Windows Vista", "Parsing C++ command-line arguments".

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/owner.h"
#include "platform/result.h"
#include "platform/security.h"

namespace veltrane {

// A longer line ends its connection.
inline constexpr std::size_t kLongestLine = 4096;

// How long another program may take to send its request, and then to read the answer.
inline constexpr std::uint32_t kRequestMilliseconds = 5000;

void CloseWatchdog(void* watchdog) noexcept;  // for Watchdog only
void CloseWatchPost(void* post) noexcept;     // for WatchPost only

// The watchdog, as its client sees it. The destructor, like every end of the client's process, ends
// the connection to the watchdog, and the watchdog goes on.
class Watchdog {
 public:
  // Starts the executable of this process again (CreateProcessW), with these UTF-8 arguments as the
  // C runtime and CommandLineToArgvW read them. It has no console (DETACHED_PROCESS), a process
  // group of its own, and of this process's handles only the two of the connection
  // (PROC_THREAD_ATTRIBUTE_HANDLE_LIST), as its standard input and output. It leaves the job of
  // this process where that is allowed (CREATE_BREAKAWAY_FROM_JOB).
  static Result<Watchdog> Start(const std::vector<std::string>& arguments);

  // False when the job did not let it go; then it ends with the job.
  bool HasLeftJob() const;

  // Sends a line. False when the watchdog has ended the connection, or has not taken the line
  // within 5 seconds.
  bool Say(std::string_view line);

  enum class Progress { kLine, kNothing, kEnded };

  // Waits at most this long for a line. Lines that came before the end of the connection are
  // returned before kEnded.
  Progress Hear(std::uint32_t milliseconds, std::string& line);

 private:
  explicit Watchdog(void* watchdog) : watchdog_(watchdog) {}

  Owner<void, CloseWatchdog> watchdog_;
};

enum class WatchEventKind {
  kLine,         // the client has sent a line
  kClientEnded,  // the client's end of the connection is closed; reported once
  kRequest,      // another program has sent a line over the named pipe
  kMustEnd,      // the user's session ends, or this process is asked to end; reported once
  kTimeUp,       // nothing else happened in the time
};

struct WatchEvent {
  WatchEventKind kind = WatchEventKind::kTimeUp;
  std::string line = {};  // of kLine and kRequest
};

// The watchdog's own side. A process has at most one at a time.
class WatchPost {
 public:
  // Takes standard input and output for the connection to the client. Fails with 222 when one of
  // them is not a pipe, and with 8 when the system has no event or thread to spare.
  static Result<WatchPost> Open();

  // Watches for requests and for the end of the session too from now on. Creates a named pipe
  // (CreateNamedPipeW: one instance, FILE_FLAG_FIRST_PIPE_INSTANCE, PIPE_REJECT_REMOTE_CLIENTS)
  // with an access list of these entries, and a hidden top-level window, because a process without
  // a console learns of the end of the session only by one. Called once. Returns 0 or the Win32
  // error: 5 when there is a pipe of this name already.
  std::uint32_t Begin(const std::wstring& pipe, const std::vector<AccessEntry>& entries);

  // Waits at most this long, 0 included, for what comes first. What has come already is returned
  // in the order of WatchEventKind. A program that opens the pipe and sends nothing holds up other
  // programs for kRequestMilliseconds and this wait not at all.
  WatchEvent Wait(std::uint32_t milliseconds);

  // Sends a line to the client. One that cannot be sent is lost.
  void Tell(std::string_view line);

  // Answers the request that was returned last, and serves the next program when this one has read
  // the answer and gone, or after kRequestMilliseconds. Before that no other request is returned.
  void Answer(std::string_view line);

 private:
  explicit WatchPost(void* post) : post_(post) {}

  // Its end lets the session end. Until then the session waits: from the question whether it may
  // end (WM_QUERYENDSESSION), Windows has a reason to show the user (ShutdownBlockReasonCreate),
  // and he decides after some seconds whether to wait for this process or to end it. Without a
  // reason, Windows would end a process that has no visible window after 5 seconds.
  Owner<void, CloseWatchPost> post_;
};

}  // namespace veltrane
