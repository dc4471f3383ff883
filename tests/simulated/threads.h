#pragma once

// What the program has of the standard library and not of platform/*.h, and what can fail all the
// same: a thread that cannot be created, and a mutex that cannot be locked. The calls
// "Thread.Start" and "Mutex.Lock" stand for them. Every executable that links the simulated machine
// goes through them (the options --wrap in cmake/SimulatedPlatform.cmake).

#include "platform/mutex.h"

namespace veltrane::simulated {

// While it lives, the threads that the calling thread starts and the locks that it takes are the
// system's or the test's: they are not counted and cannot fail.
class NotOfTheProgram {
 public:
  NotOfTheProgram();
  NotOfTheProgram(const NotOfTheProgram&) = delete;
  NotOfTheProgram& operator=(const NotOfTheProgram&) = delete;
  ~NotOfTheProgram();

 private:
  bool outer_;
};

// From now on each lock of this mutex, and of no other, is a call. Null: of none.
void WatchMutex(const Mutex* mutex);

}  // namespace veltrane::simulated
