#pragma once

// The program as a process of the simulated machine: a load of the shared library that has the
// rooms, whose data are set back when a process begins. What a process that has ended had on its
// heap and its stacks is not given back.

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/simulation/baton.h"

namespace veltrane::simulation {

class Process {
 public:
  explicit Process(Baton& baton);
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process();

  // Null when there is none.
  static Process* Current();

  // Begins a process with this command line, behind the path of the program. There must be none.
  void Begin(const std::vector<std::wstring>& arguments);

  // The process ends, wherever its threads are. What Windows closes then is the caller's business.
  void Kill();

  bool Lives() const { return lives_; }
  const std::vector<std::wstring>& Arguments() const { return arguments_; }

  // How the process has ended by itself since this was asked last: the exit code, or "abort" or
  // "terminate". It then lives until Kill.
  struct End {
    int exit_code = 0;
    std::string by;  // empty: its main function has returned
    std::string thread;
  };
  std::optional<End> TakeEnd();

  // Makes the next thread fail that the program itself makes.
  void RefuseNextThread() { refuses_thread_ = true; }
  bool TakeRefusal();
  const std::string& Refused() const { return refused_; }  // the thread that wanted one
  void ForgetRefused(const std::string& thread);           // it has gone on

  // For the program's threads. The second is told of a thread for whose end two others wait.
  [[noreturn]] void EndBy(const std::string& by);
  void NoteDoubleJoin();
  void NoteLocks(int change);  // more, or fewer, mutexes are held by the calling thread
  const std::string& DoubleJoined() const { return double_joined_; }  // the thread that came second
  int Locks() const { return locks_; }  // that are held, also by threads that have ended

 private:
  struct Part {
    std::byte* begin;
    std::vector<std::byte> bytes;
  };

  Baton& baton_;
  std::vector<Part> data_;  // as they were when the library was loaded
  std::vector<std::wstring> arguments_;
  std::vector<const wchar_t*> argv_;
  std::optional<End> end_;
  bool lives_ = false;
  bool refuses_thread_ = false;
  std::string refused_;
  std::string double_joined_;
  int locks_ = 0;
};

}  // namespace veltrane::simulation
