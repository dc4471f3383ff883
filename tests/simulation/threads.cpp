// What the C library does for the program's threads, done by the baton. The program is linked so
// that its calls of abort, pthread_mutex_lock and pthread_mutex_unlock come here
// (cmake/Simulation.cmake).

#include "tests/simulated/threads.h"

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>

#include "tests/simulated/machine.h"
#include "tests/simulation/baton.h"
#include "tests/simulation/process.h"

namespace veltrane::simulation {
namespace {

Role RoleOfChild(Role creator) {
  switch (creator) {
    case Role::kMain:
      return Process::Current()->Arguments() == std::vector<std::wstring>{L"--run-as-service"}
                 ? Role::kServiceMain
                 : Role::kPipe;
    case Role::kServiceMain:
      return Role::kPipe;
    case Role::kPipe:
      return Role::kTimer;
    case Role::kActor:  // the system calls the console control handler on a new thread
      return Role::kHandler;
    case Role::kTimer:
    case Role::kHandler:
      break;
  }
  simulated::Die("a " + RoleText(creator) + " thread made a thread");
}

Baton* BatonOfThisThread() {
  Baton* baton = Baton::Current();
  return baton != nullptr && baton->Running() != nullptr ? baton : nullptr;
}

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace
}  // namespace veltrane::simulation

namespace veltrane::simulated {

// The dice decide which threads cannot be made, and every mutex of the program is watched.
NotOfTheProgram::NotOfTheProgram() : outer_(false) {}
NotOfTheProgram::~NotOfTheProgram() { static_cast<void>(outer_); }
void WatchMutex(const Mutex* /*mutex*/) {}

}  // namespace veltrane::simulated

using veltrane::simulation::Baton;
using veltrane::simulation::BatonOfThisThread;
using veltrane::simulation::Process;
using veltrane::simulation::Real;
using veltrane::simulation::Role;

extern "C" {

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument) noexcept {
  Baton* baton = BatonOfThisThread();
  if (baton == nullptr) {
    return Real<decltype(pthread_create)>("pthread_create")(thread, attributes, start, argument);
  }
  const Role role = veltrane::simulation::RoleOfChild(baton->Running()->role);
  const bool is_own = role == Role::kPipe || role == Role::kTimer;  // and not of the system
  if (is_own && Process::Current()->TakeRefusal()) return EAGAIN;
  *thread = baton->Start(role, RoleText(role), [start, argument] { start(argument); });
  return 0;
}

int pthread_join(pthread_t thread, void** result) {
  Baton* baton = BatonOfThisThread();
  if (baton == nullptr) return Real<decltype(pthread_join)>("pthread_join")(thread, result);
  if (baton->Join(thread)) return 0;
  Process::Current()->NoteDoubleJoin();
  return EINVAL;
}

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
  Baton* baton = BatonOfThisThread();
  if (baton == nullptr || baton->IsQuiet()) return pthread_mutex_lock(mutex);
  if (veltrane::simulated::Machine::Current().calls.Begin("Mutex.Lock")) return EAGAIN;
  baton->WaitUntil([mutex] { return pthread_mutex_trylock(mutex) == 0; });
  Process::Current()->NoteLocks(1);
  return 0;
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
  Baton* baton = BatonOfThisThread();
  if (baton != nullptr && !baton->IsQuiet()) Process::Current()->NoteLocks(-1);
  return pthread_mutex_unlock(mutex);
}

[[noreturn]] void __wrap_abort() {
  if (BatonOfThisThread() != nullptr) Process::Current()->EndBy("abort");
  veltrane::simulated::Die("the program called abort outside its threads");
}

}  // extern "C"
