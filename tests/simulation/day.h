#pragma once

// A day on the machine: the program serves clients, time passes, and the dice decide what happens
// around it, which thread goes on and which boundary call fails. Every step ends with a look at the
// invariants.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/simulated/machine.h"
#include "tests/simulation/baton.h"
#include "tests/simulation/process.h"
#include "tests/simulation/random.h"
#include "tests/simulation/requests.h"
#include "tests/simulation/story.h"
#include "tests/simulation/surroundings.h"
#include "tests/simulation/watcher.h"

namespace veltrane::simulation {

class Day : private simulated::Conductor {
 public:
  explicit Day(std::uint64_t seed);
  ~Day() override;

  // A step is one turn of a thread: up to its next boundary call, mutex or wait. Ends early when an
  // invariant is broken.
  void Run(std::uint64_t steps);

  std::uint64_t Steps() const { return steps_; }
  std::uint64_t Exchanges() const { return watcher_.Exchanges(); }
  std::uint64_t Processes() const { return processes_; }
  const std::string& Broken() const { return broken_; }
  const Story& Told() const { return story_; }
  Counts Asked() const;  // see Watcher::Asked

 private:
  // How often things happen on this day: once in so many steps, or calls; 0 is never.
  struct Weather {
    std::uint32_t event;
    std::uint32_t failure;
    std::uint32_t outage;
    std::uint32_t slowness;
    std::uint32_t stop;
    std::uint32_t crash;
    std::uint32_t refusal;
    std::uint32_t leisure;  // how much longer the clients pause
  };

  std::optional<std::uint32_t> AtCall(const std::string& name, const std::string& text) override;
  void Wait(std::unique_lock<std::mutex>& lock, const std::function<bool()>& ready) override;
  void Sleep(std::uint32_t milliseconds) override;

  static Weather MakeWeather(Random& random);
  std::optional<std::uint32_t> Failure(const Thread& thread, const std::string& name);
  void LetThingsHappen();
  void TellWatcher();
  void BeginProcess();
  void EndProcess(const std::string& how);
  void LookAtTheEnd();
  void Stop();
  void LetTimePass();
  void Break(const std::string& broken);

  void BeAClient(int number);
  void Converse(const std::string& who, const std::string& request);
  void Pause(std::uint32_t milliseconds);
  std::string Who(const std::string& name) const;

  Random random_;
  Weather weather_;
  simulated::Machine machine_;
  Baton baton_;
  Process process_;
  Watcher watcher_;
  Surroundings surroundings_;
  Requests requests_;
  Story story_;
  std::string outage_;  // every call of this name fails
  std::uint64_t steps_ = 0;
  std::uint64_t processes_ = 0;
  std::string last_request_call_;  // of the pipe thread, but conversions
  std::string last_pipe_call_;
  std::uint64_t troubles_ = 0;  // that the pipe had, and that processes ended
  bool stop_is_on_its_way_ = false;
  std::uint64_t idle_moments_ = 0;  // at which no thread could go on at once
  std::string broken_;
};

}  // namespace veltrane::simulation
