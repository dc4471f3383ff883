#include "tests/simulated/machine.h"

#include <atomic>

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

Machine& Machine::Current() {
  Machine* machine = current_machine.load();
  if (machine == nullptr) Die("a boundary function was called while no machine exists");
  return *machine;
}

void Machine::EndProcess() {
  services.CloseAll();
  files.CloseAll();
  pipes.CloseAll();
  libraries.FreeAll();
  security.ForgetRecords();
  service_host.EndProcess();
  console.Install(nullptr);
}

}  // namespace veltrane::simulated
