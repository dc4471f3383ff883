#include "tests/simulation/day.h"

#include "tests/simulation/failures.h"

namespace veltrane::simulation {
namespace {

constexpr std::int64_t kTicks = 10'000;  // of a millisecond
constexpr std::uint32_t kStopControl = 1;
constexpr int kClients = 3;

}  // namespace

Day::Weather Day::MakeWeather(Random& random) {
  const auto often = [&random](std::initializer_list<std::uint32_t> choices) {
    return random.Pick(choices);
  };
  return {.event = often({0, 2000, 400, 100, 30}),
          .failure = often({0, 0, 3000, 500, 100}),
          .outage = often({0, 0, 3000, 1000}),
          .slowness = often({0, 1000, 100, 20}),
          .stop = often({0, 4000, 1000}),
          .crash = often({0, 6000, 2000}),
          .refusal = often({0, 0, 5000}),
          .leisure = often({1, 3, 10})};
}

Day::Day(std::uint64_t seed)
    : random_(seed),
      weather_(MakeWeather(random_)),
      baton_(random_, [this] { return machine_.clock.Ticks(); }),
      process_(baton_),
      watcher_(machine_, baton_, process_),
      surroundings_(machine_, random_),
      requests_(random_) {
  machine_.Conduct(this);
  for (int number = 1; number <= kClients; ++number) {
    baton_.Start(Role::kActor, "client " + std::to_string(number),
                 [this, number] { BeAClient(number); });
  }
}

Day::~Day() {
  machine_.Conduct(nullptr);
  process_.Kill();
}

void Day::Run(std::uint64_t steps) {
  while (steps_ < steps && broken_.empty()) {
    LetThingsHappen();
    if (!baton_.Turn()) {
      LetTimePass();
      continue;
    }
    ++steps_;
    if (surroundings_.TakeMischief()) watcher_.OnEvent();
    TellWatcher();
    LookAtTheEnd();
    Break(watcher_.OnMoment());
    if (steps_ % 64 == 0) {
      machine_.calls.Clear();
      machine_.console.Clear();
    }
  }
}

void Day::TellWatcher() {
  watcher_.SetOddServices(surroundings_.HasOddServices());
  watcher_.SetOddFiles(surroundings_.HasOddFiles());
}

void Day::Break(const std::string& broken) {
  if (broken.empty() || !broken_.empty()) return;
  broken_ = broken;
  story_.Tell("broken", broken);
}

std::string Day::Who(const std::string& name) const {
  return std::to_string(machine_.clock.Uptime()) + " " + name;
}

void Day::LetThingsHappen() {
  if (random_.OneIn(weather_.event)) {
    story_.Tell(Who("machine"), surroundings_.Happen());
    watcher_.OnEvent();
    TellWatcher();
  }
  if (random_.OneIn(weather_.outage)) {
    outage_.clear();
    if (random_.OneIn(2)) outage_ = FailingCalls()[random_.Below(FailingCalls().size())].name;
    story_.Tell(Who("machine"), outage_.empty() ? "every call works" : outage_ + " fails");
  }
  if (random_.OneIn(weather_.slowness)) LetTimePass();
  if (!process_.Lives()) {
    if (random_.OneIn(8)) BeginProcess();
    return;
  }
  if (random_.OneIn(weather_.refusal)) process_.RefuseNextThread();
  const bool takes_stops = watcher_.IsRunning() || process_.Arguments()[0] == L"--console";
  if (takes_stops && !stop_is_on_its_way_ && random_.OneIn(weather_.stop)) Stop();
  if (random_.OneIn(weather_.crash)) {
    EndProcess("is killed");
    if (!random_.OneIn(3)) return;
    story_.Tell(Who("machine"), "Windows restarts");
    surroundings_.Restart();
  }
}

Counts Day::Asked() const {
  Counts counts = watcher_.Asked();
  counts.push_back({"NobodyWaitsForEver", idle_moments_});
  return counts;
}

void Day::LetTimePass() {
  const std::optional<std::int64_t> next = baton_.NextDeadline();
  const std::int64_t now = machine_.clock.Ticks();
  if (process_.Lives()) ++idle_moments_;
  if (!next) {
    if (process_.Lives()) Break("NobodyWaitsForEver: no thread can go on, and none sleeps");
    return;
  }
  if (*next > now) {
    machine_.clock.Advance(static_cast<std::uint32_t>((*next - now + kTicks - 1) / kTicks));
  }
}

void Day::BeginProcess() {
  ++processes_;
  stop_is_on_its_way_ = false;
  const std::string environment = surroundings_.MakeEnvironment();
  const std::uint32_t kind = random_.Below(24);
  std::vector<std::wstring> arguments = {L"--run-as-service"};
  if (kind < 5) arguments = {L"--console"};
  if (kind == 5) arguments = {L"--dry-run-startup"};
  if (kind == 6) arguments = {L"--install"};
  if (kind == 7) arguments = {L"--uninstall"};
  if (kind == 8) arguments = {L"/service", L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf"};
  if (kind == 9) arguments = {L"/service", L""};
  story_.Tell(Who("program"), "begins with " + simulated::Narrow(arguments[0]) + environment);
  watcher_.OnBegin();
  watcher_.SetLibraryAnswers(surroundings_.LibraryAnswers());
  process_.Begin(arguments);
  if (random_.OneIn(60)) process_.RefuseNextThread();
}

void Day::EndProcess(const std::string& how) {
  story_.Tell(Who("program"), how);
  ++troubles_;
  process_.Kill();
  machine_.EndProcess();
  watcher_.OnGone();
}

void Day::LookAtTheEnd() {
  const std::optional<Process::End> end = process_.TakeEnd();
  if (!end) return;
  Break(watcher_.OnEnd(*end));
  EndProcess(end->by.empty() ? "ends with " + std::to_string(end->exit_code)
                             : "ends by " + end->by + " on the " + end->thread + " thread");
}

// Somebody stops the service, or ends the console.
void Day::Stop() {
  stop_is_on_its_way_ = true;
  watcher_.OnStop();
  const bool is_console = process_.Arguments()[0] == L"--console";
  story_.Tell(Who("operator"), is_console ? "presses Ctrl+C" : "stops the service");
  baton_.Start(Role::kActor, "operator", [this, is_console, process = processes_] {
    const bool done = is_console ? machine_.console.SendEvent(0)
                                 : machine_.service_host.SendControl(kStopControl);
    if (done) return;
    stop_is_on_its_way_ = false;
    const bool is_there = process_.Lives() && process == processes_;
    // The system ends a program that does not handle Ctrl+C.
    if (is_console && is_there) EndProcess("is ended by Ctrl+C");
  });
}

std::optional<std::uint32_t> Day::AtCall(const std::string& name, const std::string& text) {
  const Thread* thread = baton_.Running();
  if (thread == nullptr || thread->role == Role::kActor) return std::nullopt;
  const std::string who = thread->name;
  Break(watcher_.OnArrival(*thread, name));
  baton_.Yield();
  const std::optional<std::uint32_t> failed = Failure(*thread, name);
  const bool cuts_off = name == "ServerPipe.Close" && last_pipe_call_ != "ServerPipe.Disconnect";
  if (name.starts_with("ServerPipe.")) last_pipe_call_ = name;
  if (cuts_off || (failed && name.starts_with("ServerPipe."))) ++troubles_;
  story_.Tell(Who(who), text + (failed ? " fails with " + std::to_string(*failed) : ""));
  Break(watcher_.OnCall(*thread, name, text, failed));
  return failed;
}

void Day::Wait(std::unique_lock<std::mutex>& lock, const std::function<bool()>& ready) {
  std::mutex& mutex = *lock.mutex();
  lock.unlock();
  baton_.WaitUntil([&mutex, &ready] {
    const std::lock_guard<std::mutex> guard(mutex);
    return ready();
  });
  lock.lock();
}

void Day::Sleep(std::uint32_t milliseconds) {
  baton_.SleepUntil(machine_.clock.Ticks() + milliseconds * kTicks);
}

void Day::Pause(std::uint32_t milliseconds) { Sleep(milliseconds); }

}  // namespace veltrane::simulation
