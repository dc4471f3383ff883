#include "tests/simulated/machine.h"

#include <unistd.h>

#include <atomic>
#include <new>

namespace veltrane::simulated {
namespace {

std::atomic<Machine*> current_machine{nullptr};

}  // namespace

Machine::Machine() {
  Machine* none = nullptr;
  if (!current_machine.compare_exchange_strong(none, this)) {
    Die("a second machine was made while one exists");
  }
}

Machine::~Machine() {
  {
    const std::lock_guard<std::mutex> lock(core_.mutex);
    if (core_.blocked_threads != 0) {
      Die("the machine is destroyed while a thread waits inside a boundary call");
    }
  }
  current_machine.store(nullptr);
}

void Machine::EndProcess() {
  files.EndProcess();
  pipes.EndProcess();
  security.EndProcess();
  service_host.EndProcess();
  services.EndProcess();
  core_.blocked_threads = 0;
}

int Machine::Fork() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const int child = fork();
  // Threads that do not exist in the child may be waiting for the signal there for ever.
  if (child == 0) new (&core_.changed) std::condition_variable;
  return child;
}

bool Machine::Exists() { return current_machine.load() != nullptr; }

Machine& Machine::Current() {
  Machine* machine = current_machine.load();
  if (machine == nullptr) Die("a boundary function was called while no machine exists");
  return *machine;
}

}  // namespace veltrane::simulated
