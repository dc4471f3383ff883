#pragma once

// What only the command-line client needs of a machine: its terminal and standard input, its end of
// the pipe, what it may read about services, access lists and interface metrics.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/access_lists.h"
#include "platform/terminal.h"
#include "tests/simulated/machine.h"
#include "tests/simulated/watchdogs.h"

namespace veltrane::simulated {

// The client's side of the current machine; lives beside it, and exactly one exists at a time. The
// client is one thread, and so is a test that sets it up: members are called on that thread alone.
//
// At the start the standard streams are files, standard input is empty, the process behind every
// pipe is 4711, and so is that of every running service, whose account is LocalSystem. Files are
// read as machine.files holds them.
class ClientSide {
 public:
  ClientSide();
  ClientSide(const ClientSide&) = delete;
  ClientSide& operator=(const ClientSide&) = delete;
  ~ClientSide();

  static ClientSide& Current();

  Watchdogs watchdogs;                              // a thread of a watchdog's may use them too
  bool console_is_interactive = false;              // standard input and output are consoles
  std::string input;                                // standard input
  std::optional<std::uint32_t> pipe_server = 4711;  // nullopt: the system does not name one
  std::uint32_t service_process = 4711;
  std::wstring account = L"LocalSystem";
  std::uint32_t service_facts_error = 0;                     // what asking for any service answers
  std::uint32_t file_input_error = 0;                        // what reading any file answers
  std::map<std::uint32_t, std::uint32_t> interface_metrics;  // by index; the others are unreadable
  std::map<std::uint32_t, std::uint32_t> ipv6_interface_metrics;  // likewise

  // When a process was started, by its id, in UTC ticks since 1970. Those behind the pipe and the
  // services were started a minute after Windows unless it is said here; others do not exist.
  std::map<std::uint32_t, std::int64_t> process_starts;

  // The processes that the program descends from, nearest first; nullopt: they are unreadable.
  std::optional<std::vector<std::wstring>> ancestors = {{L"cmd.exe", L"explorer.exe"}};

  // Somebody types this at the console; "\r" is Enter, "\b" is Backspace.
  void Type(const std::string& keys) { typed_ += keys; }

  // Makes a stream a terminal of that many columns.
  void SetTerminal(Stream stream, std::size_t columns);

  // Whether a terminal still has a mode that the program has given it.
  bool TerminalIsChanged() const { return !changed_terminals_.empty(); }

  // Everything written so far.
  std::string Output() const { return output_; }
  std::string Error() const { return error_; }
  void ClearScreen();

  // Every attempt to open a pipe answers this error.
  void FailOpen(std::uint32_t error) { open_error_ = error; }

  // A service thread serves the pipe: opening it waits for the moment in which it does, so that two
  // exchanges may follow each other at once. Until it serves it no more.
  void ExpectServer(bool expected = true) { server_expected_ = expected; }

  // The next waits for the reply end without one, a second each.
  void DelayReply(int seconds) { delay_seconds_ = seconds; }

  // Every wait for the reply ends after that time with this piece of it, and there is no last one.
  void TrickleReply(const std::string& piece, std::uint32_t milliseconds);
  int Trickled() const { return trickled_; }  // how many pieces the client has taken

  // Runs when the client begins to wait for a free pipe; the answer is that of the wait, 0 once an
  // instance is free. Without a hook the client waits in real time.
  void OnWaitForPipe(std::function<std::uint32_t(std::uint32_t milliseconds)> hook);

  // What the system says of a path, which need not exist. Other paths that exist belong to Local
  // System, are not reparse points, and admit whom machine.files says.
  void SetAccessList(const std::wstring& path, const Result<AccessList>& reading);
  void MakeReparsePoint(const std::wstring& path);

  // Whether the thread of the test has wiped memory that held this text, as the client does; the
  // threads of a service wipe theirs unseen.
  bool HasWiped(std::string_view text) const;

  // For the boundary functions.
  void DiscardTyped() { typed_.clear(); }
  bool HasTyped() const { return !typed_.empty(); }
  char TakeTyped();
  Result<std::int64_t> ProcessStart(std::uint32_t process_id) const;
  void Write(Stream stream, std::string_view bytes);
  std::optional<std::size_t> ChangeTerminal(Stream stream);
  void RestoreTerminals() { changed_terminals_.clear(); }
  std::shared_ptr<Pipes::Connection> OpenPipe(const std::wstring& name, std::uint32_t& error);
  std::uint32_t WaitForPipe(const std::wstring& name, std::uint32_t milliseconds);
  bool KeepWaiting(std::string& received);
  static void NoteWiped(std::string_view bytes);
  std::optional<Result<AccessList>> AccessListOf(const std::wstring& path) const;
  bool IsReparsePoint(const std::wstring& path) const;

 private:
  std::map<std::wstring, Result<AccessList>> access_lists_;
  std::vector<std::string> wiped_;
  std::map<Stream, std::size_t> columns_;
  std::string typed_;
  std::string output_;
  std::string error_;
  std::uint32_t open_error_ = 0;
  bool server_expected_ = false;
  int delay_seconds_ = 0;
  std::string trickle_;
  std::uint32_t trickle_milliseconds_ = 0;
  int trickled_ = 0;
  std::set<Stream> changed_terminals_;
  std::set<std::wstring> reparse_points_;
  std::function<std::uint32_t(std::uint32_t)> wait_hook_;
  std::shared_ptr<Pipes::Connection> waited_for_;
};

}  // namespace veltrane::simulated
