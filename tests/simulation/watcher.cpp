#include "tests/simulation/watcher.h"

#include "tests/simulation/invariants.h"
#include "tests/simulation/promise.h"
#include "tests/simulation/wire.h"

namespace veltrane::simulation {
namespace {

constexpr wchar_t kPassiveGuard[] = L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP";
constexpr wchar_t kTunnel[] = L"VeltraneVpnTunnel$Active";

bool NamesKey(const std::string& request) {
  const Wish wish = WishOf(request);
  for (const std::string& text : {wish.node, wish.allowed, wish.address}) {
    if (text.find(kSecret) != std::string::npos) return true;
  }
  return false;
}

}  // namespace

Watcher::Watcher(simulated::Machine& machine, Baton& baton, Process& process)
    : machine_(machine), baton_(baton), process_(process) {}

void Watcher::OnBegin() {
  OnGone();
  own_.reset();
  states_.clear();
  is_stopped_ = false;
  undisturbed_ = true;
  nonce_.clear();
  counted_ = false;
  stop_waits_ = false;
  existence_unknown_.clear();
}

void Watcher::OnGone() {
  exchange_.reset();
  awaits_request_ = false;
  timers_.clear();
  last_calls_.clear();
  recorded_.clear();
  certain_.clear();
  late_.clear();
  gateway_.reset();
}

void Watcher::OnStop() {
  is_stopped_ = true;
  OnEvent();
}

void Watcher::OnEvent() {
  undisturbed_ = false;
  if (exchange_) exchange_->events = true;
}

bool Watcher::TimerTearsDown() const {
  const Thread* timer = baton_.Find(Role::kTimer);
  const auto known = timer == nullptr ? timers_.end() : timers_.find(timer->id);
  return known != timers_.end() && !known->second.calls.empty();
}

std::string Watcher::OnArrival(const Thread& thread, const std::string& name) {
  if (thread.role != Role::kPipe) return "";
  NoticeRequest();
  awaits_request_ = false;
  if (!exchange_) return "";
  if (name == "ServerPipe.Write") FinishWork();
  return name == "ServerPipe.Flush" ? FinishExchange() : "";
}

// A request has begun when it has been read, and is there to be read.
void Watcher::NoticeRequest() {
  if (!awaits_request_ || machine_.pipes.Reads() == reads_) return;
  awaits_request_ = false;
  if (!machine_.pipes.LastRead().empty()) BeginExchange();
}

void Watcher::BeginExchange() {
  undisturbed_ = false;
  connect_has_begun_ = false;
  start_was_called_ = false;
  exchange_.emplace();
  ExchangeFacts& facts = *exchange_;
  const std::string read = machine_.pipes.LastRead();
  facts.request = read.substr(0, read.find('\0'));
  facts.op = FieldOf(facts.request, "op");
  facts.wished_node = FieldOf(facts.request, "node_id");
  facts.client_names_key = NamesKey(facts.request);
  facts.nonce = nonce_;
  facts.counted = counted_;
  ReadPhase(facts.phase_before, facts.node_before);
  facts.tunnel_before = Tunnel();
  facts.conf_before = Conf();
  facts.odd_services = odd_services_;
  facts.odd_files = odd_files_;
  facts.events = is_stopped_;
  was_guarded_ = MayBeOn(machine_, kPassiveGuard, true);
  facts.beside_timer = TimerTearsDown();
  facts.promise = PromiseFor(machine_, facts.request, nonce_, counted_,
                             own_ ? *own_ : OwnPublicAddresses(machine_));
  work_done_ = false;
  reply_lost_ = false;
}

void Watcher::FinishWork() {
  if (work_done_) return;
  work_done_ = true;
  ExchangeFacts& facts = *exchange_;
  ReadPhase(facts.phase_after, facts.node_after);
  facts.tunnel_after = Tunnel();
  facts.conf_after = Conf();
  facts.recorded_after = certain_;
  facts.tunnel_default_route = HasTunnelDefaultRoute();
  facts.due_command_line = simulated::Narrow(L"\"" + machine_.libraries.ExecutablePath() +
                                             L"\" /service \"" + Folder() + L"\\active.conf\"");
  if (const auto tunnel = machine_.services.Find(kTunnel)) {
    facts.command_line = simulated::Narrow(tunnel->settings.command_line);
    facts.has_own_sid = tunnel->sid_type == 1U;
  }
  facts.timers_after = baton_.Count(Role::kTimer);
  facts.odd_services = facts.odd_services || odd_services_;
  if (!MentionsPath(facts.request) && facts.op == "register_session") {
    nonce_ = FieldOf(facts.request, "session_nonce");
  }
  if (!TimerTearsDown()) late_.clear();
}

std::string Watcher::FinishExchange() {
  ExchangeFacts facts = std::move(*exchange_);
  exchange_.reset();
  ++exchanges_;
  facts.key_in_buffer = machine_.pipes.LastReadBuffer().find(kSecret) != std::string::npos;
  if (!reply_lost_) facts.reply = machine_.pipes.LastWritten();
  const Reply reply = facts.reply ? ReplyOf(*facts.reply) : Reply();
  const Thread* timer = baton_.Find(Role::kTimer);
  if (timer != nullptr && reply.auto_stop_scheduled) {
    timers_[timer->id].delay = reply.auto_stop_seconds;
  }
  return Judge(ExchangeInvariants(), facts);
}

std::string Watcher::JudgeEndedTimers() {
  std::string broken;
  for (auto timer = timers_.begin(); timer != timers_.end();) {
    if (!baton_.HasEnded(timer->first)) {
      ++timer;
      continue;
    }
    TimerFacts facts{
        .sleeps = timer->second.sleeps, .delay = timer->second.delay, .calls = timer->second.calls};
    const bool is_served = exchange_ && !work_done_;
    facts.may_be_told = is_stopped_ || (is_served && exchange_->op == "disconnect") ||
                        (is_served && exchange_->deadline_counts_from != 0);
    std::string node;
    ReadPhase(facts.phase, node);
    if (broken.empty()) broken = Judge(TimerInvariants(), facts);
    timer = timers_.erase(timer);
  }
  return broken;
}

std::string Watcher::OnEnd(const Process::End& end) {
  EndFacts facts;
  facts.by = end.by;
  facts.thread = end.thread;
  facts.exit_code = end.exit_code;
  facts.arguments = process_.Arguments();
  facts.other_threads = baton_.Count() - baton_.Count(Role::kActor) - 1;
  facts.served = exchange_;
  // A setting may have changed while its scopes were read.
  const bool uncertain = exchange_ && (exchange_->failures || exchange_->events);
  facts.passive_guard = MayBeOn(machine_, kPassiveGuard, uncertain) || (uncertain && was_guarded_);
  facts.existence_unknown = existence_unknown_ == end.thread;
  facts.thread_refused = process_.Refused() == end.thread;
  facts.stop_waits = stop_waits_ || is_stopped_;
  facts.joined_twice = process_.DoubleJoined() == end.thread;
  facts.service_handles = machine_.services.OpenHandles();
  facts.streams = machine_.files.OpenStreams();
  facts.pipe_instances = machine_.pipes.OpenInstances();
  facts.security_records = machine_.security.LiveRecords();
  return Judge(EndInvariants(), facts);
}

}  // namespace veltrane::simulation
