#pragma once

// A watchdog and its client (platform/watchdog.h). A test plays the one that it does not test.

#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/simulated/pipes.h"

namespace veltrane::simulated {

// The test and the program are one thread, and time passes only while the program waits: what is to
// happen then is arranged with Clock::At.
class Watchdogs {
 public:
  Watchdogs();
  Watchdogs(const Watchdogs&) = delete;
  Watchdogs& operator=(const Watchdogs&) = delete;

  // For the test of a client.
  std::uint32_t start_error = 0;                            // what starting one answers
  bool leaves_job = true;                                   //
  std::vector<std::string> first_words;                     // what one says when it is started
  std::map<std::string, std::vector<std::string>> answers;  // what it says to a line, at once
  std::vector<std::vector<std::string>> started;            // the arguments of each one
  std::vector<std::string> heard;                           // the lines that it was sent
  void WatchdogSays(const std::string& line);
  void WatchdogEnds();

  // For the test of a watchdog.
  bool has_client = true;         // otherwise standard input is not a pipe
  std::uint32_t begin_error = 0;  // what beginning to watch answers
  std::vector<std::string> told;  // the lines that the client was sent
  void ClientSays(const std::string& line);
  void ClientEnds();
  void MustEnd();  // the user's session ends

  // From now on a watchdog that is started is this program, on a thread of its own, and time is
  // real. It ends, at the latest, when the client has ended the connection.
  using Program = std::function<void(const std::vector<std::string>& arguments)>;
  void Run(Program program);
  void Join();  // waits for its end

  // For the boundary functions.
  struct Link {
    std::deque<std::string> to_watchdog;
    std::deque<std::string> to_client;
    bool client_ended = false;
    bool watchdog_ended = false;
    bool client_end_reported = false;
    bool must_end = false;
  };
  struct Post {
    std::shared_ptr<Link> link;
    Pipes::Instance* requests = nullptr;
    enum class Request { kNone, kAwaitsAnswer, kAnswered } request = Request::kNone;
    std::string received = {};
    std::optional<std::uint64_t> limit = std::nullopt;  // of the program that has the pipe
  };
  std::shared_ptr<Link> Start(const std::vector<std::string>& arguments);
  void Say(Link& link, const std::string& line);
  void Tell(Link& link, const std::string& line);
  std::shared_ptr<Link> LinkOfThisProcess();
  void End(Link& link, bool Link::*end);
  bool Await(const std::function<bool()>& ready, std::uint32_t milliseconds);
  std::mutex& mutex() { return mutex_; }

 private:
  std::mutex mutex_;
  std::shared_ptr<Link> link_;
  Program program_;
  std::list<std::thread> threads_;
};

}  // namespace veltrane::simulated
