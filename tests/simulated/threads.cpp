#include "tests/simulated/threads.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <system_error>

#include "tests/simulated/machine.h"

// The linker has __wrap_NAME stand for NAME, and __real_NAME is NAME itself. The long name is
// std::thread::_M_start_thread(std::unique_ptr<std::thread::_State>, void (*)()), whose owner is
// handed over by its address.
extern "C" {
void __real__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(
    void* thread, void* state, void (*depend)());
void __wrap__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(
    void* thread, void* state, void (*depend)());
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex);
}

namespace veltrane::simulated {
namespace {

thread_local bool is_the_program = true;
std::atomic<const void*> watched_mutex = nullptr;

bool Fails(const char* call) {
  return is_the_program && Machine::Exists() && Machine::Current().calls.Begin(call);
}

}  // namespace

NotOfTheProgram::NotOfTheProgram() : outer_(is_the_program) { is_the_program = false; }

NotOfTheProgram::~NotOfTheProgram() { is_the_program = outer_; }

// The standard mutex is the only member of ours, and the native one the only member of that.
void WatchMutex(const Mutex* mutex) { watched_mutex = mutex; }

}  // namespace veltrane::simulated

void __wrap__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(
    void* thread, void* state, void (*depend)()) {
  if (veltrane::simulated::Fails("Thread.Start")) {
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
  }
  __real__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(
      thread, state, depend);
}

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
  if (mutex == veltrane::simulated::watched_mutex && veltrane::simulated::Fails("Mutex.Lock")) {
    return EAGAIN;
  }
  return __real_pthread_mutex_lock(mutex);
}
