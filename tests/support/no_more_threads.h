#pragma once

#include <pthread.h>

#include <cstddef>

#include "tests/simulated/core.h"

namespace veltrane {

// While it exists, the process can create no thread: every new one would ask for more stack than
// there can be. One at a time.
class NoMoreThreads {
 public:
  NoMoreThreads() {
    pthread_attr_t greedy;
    Check(pthread_getattr_default_np(&usual_));
    Check(pthread_attr_init(&greedy));
    Check(pthread_attr_setstacksize(&greedy, std::size_t{1} << 62));
    Check(pthread_setattr_default_np(&greedy));
    pthread_attr_destroy(&greedy);
  }
  NoMoreThreads(const NoMoreThreads&) = delete;
  NoMoreThreads& operator=(const NoMoreThreads&) = delete;
  ~NoMoreThreads() {
    Check(pthread_setattr_default_np(&usual_));
    pthread_attr_destroy(&usual_);
  }

 private:
  static void Check(int error) {
    if (error != 0) simulated::Die("the stack of new threads cannot be set");
  }

  pthread_attr_t usual_;
};

}  // namespace veltrane
