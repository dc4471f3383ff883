// What the watcher sees of the auto-stop timers.

#include "tests/simulation/watcher.h"

namespace veltrane::simulation {

bool Watcher::TimerTearsDown() const {
  const Thread* timer = baton_.Find(Role::kTimer);
  const auto known = timer == nullptr ? timers_.end() : timers_.find(timer->id);
  return known != timers_.end() && !known->second.calls.empty();
}

// A timer is known from the end of the connect that made it, or from its first call if that comes
// before.
void Watcher::NoteTimer() {
  const Thread* timer = baton_.Find(Role::kTimer);
  if (timer == nullptr || timers_.contains(timer->id)) return;
  timers_[timer->id].delay = shown_.Facts({}).delay;
}

void Watcher::NoteTimerCall(const Thread& thread, CallFacts& call) {
  NoteTimer();
  TimerFacts& timer = timers_.at(thread.id);
  call.timer_delay = timer.delay;
  call.timer_sleeps = timer.sleeps;
  if (timer.calls.empty() && call.name == "Sleep") {
    ++timer.sleeps;
  } else {
    if (timer.calls.empty()) timer.due = certain_;
    timer.calls.push_back(call);
  }
  if (!exchange_) return;
  if (!timer.calls.empty()) exchange_->beside_timer = true;
  ++exchange_->sleeps_of_timer;
}

std::string Watcher::JudgeEndedTimers() {
  std::string broken;
  for (auto timer = timers_.begin(); timer != timers_.end();) {
    TimerFacts& facts = timer->second;
    const bool is_served = exchange_ && !work_done_;
    if (!facts.calls.empty()) {
      facts.beside_connect = facts.beside_connect || (is_served && exchange_->op == "connect");
      facts.odd_services = facts.odd_services || odd_services_;
      facts.odd_files = facts.odd_files || odd_files_;
    }
    if (!baton_.HasEnded(timer->first)) {
      ++timer;
      continue;
    }
    if (broken.empty()) broken = JudgeEnded(facts);
    timer = timers_.erase(timer);
  }
  return broken;
}

std::string Watcher::JudgeEnded(TimerFacts& facts) {
  const bool is_served = exchange_ && !work_done_;
  facts.may_be_told = is_stopped_ || (is_served && exchange_->op == "disconnect") ||
                      (is_served && exchange_->deadline_counts_from != 0);
  facts.phase = ReadPhase();
  facts.tunnel = Tunnel();
  facts.conf = Conf();
  facts.recorded = certain_;
  if (!facts.calls.empty()) phases_.OnTimerEnd();
  return timer_court_.Judge(facts);
}

}  // namespace veltrane::simulation
