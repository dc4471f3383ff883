#pragma once

// The threads of a day, one of which runs at a time: the one that has the baton.
//
// A thread is a std::thread to the code that makes it, and a stack of its own in the one thread of
// the process: threads.cpp has pthread_create and pthread_join, on which std::thread rests. So
// nothing but the dice decides which thread goes on, and a thread can be left where it is for good,
// as the threads of a process that has ended are.
//
// A thread gives the baton back where it waits, and where it calls Yield: at every boundary call
// and in front of every mutex of the program. What it holds then does not matter: no mutex of the
// program is held across a boundary call.

#include <sys/mman.h>
#include <ucontext.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/simulation/random.h"

namespace veltrane::simulation {

// What a thread does. Those of the program follow from who made them; actors are no threads of the
// program, but people and programs around it.
enum class Role { kMain, kServiceMain, kPipe, kTimer, kHandler, kActor };

// "main", "service main", "pipe", "timer", "handler", "actor".
std::string RoleText(Role role);

// One part of a thread's state belongs to the C++ library: the exceptions that it is handling.
struct ExceptionState {
  void* caught = nullptr;
  unsigned int uncaught = 0;
};

class Stack {
 public:
  Stack();
  Stack(const Stack&) = delete;
  Stack& operator=(const Stack&) = delete;
  ~Stack();

  void* Memory() const { return memory_; }
  static constexpr std::size_t kBytes = std::size_t{512} * 1024;

 private:
  void* memory_;
};

struct Thread {
  std::uint64_t id = 0;
  Role role = Role::kActor;
  std::string name;
  std::function<void()> body;
  std::function<bool()> awaited;         // waits for this
  std::optional<std::int64_t> deadline;  // or sleeps until then, in UTC ticks
  std::uint64_t joined = 0;              // waits for the end of this one
  int locks = 0;                         // mutexes of the program that it holds
  bool done = false;
  ExceptionState exceptions;
  ucontext_t context{};
  std::unique_ptr<Stack> stack;
};

class Baton {
 public:
  // `now` tells the time in UTC ticks. Exactly one baton exists at a time.
  Baton(Random& random, std::function<std::int64_t()> now);
  Baton(const Baton&) = delete;
  Baton& operator=(const Baton&) = delete;
  ~Baton();

  // Null when there is none.
  static Baton* Current();

  // Makes a thread, which runs when it gets its first turn. The id is not 0.
  std::uint64_t Start(Role role, const std::string& name, std::function<void()> body);

  // Gives the baton to one of the threads that can go on, until it gives it back; false when none
  // can.
  bool Turn();

  // The earliest time at which a sleeping thread can go on.
  std::optional<std::int64_t> NextDeadline() const;

  // The threads that have not ended, all or those of a role.
  std::size_t Count() const { return threads_.size(); }
  std::size_t Count(Role role) const;
  const Thread* Find(Role role) const;  // the first; null: none

  // Leaves every thread but the actors where it is, for good.
  void AbandonProgram();

  // For the threads themselves. Running is null on none of them.
  Thread* Running() const { return running_; }
  void Yield();
  void WaitUntil(std::function<bool()> ready);
  void SleepUntil(std::int64_t ticks);
  [[noreturn]] void NeverReturn();  // the thread is left where it is

  // While one of these lives, Yield does nothing: for who looks at the program on its own thread.
  class Quiet {
   public:
    explicit Quiet(Baton& baton) : baton_(baton) { ++baton_.quiet_; }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;
    ~Quiet() { --baton_.quiet_; }

   private:
    Baton& baton_;
  };
  bool IsQuiet() const { return quiet_ != 0; }
  bool Join(std::uint64_t id);  // false when another thread waits for that one
  bool HasEnded(std::uint64_t id) const;

 private:
  bool CanGoOn(const Thread& thread) const;
  void Run(Thread& thread);
  void GiveBack();
  static void Enter();
  void Reap();

  Random& random_;
  std::function<std::int64_t()> now_;
  std::uint64_t last_id_ = 0;
  std::vector<std::unique_ptr<Thread>> threads_;
  std::vector<std::unique_ptr<Stack>> free_stacks_;
  Thread* running_ = nullptr;
  int quiet_ = 0;
  ucontext_t home_{};
};

}  // namespace veltrane::simulation
