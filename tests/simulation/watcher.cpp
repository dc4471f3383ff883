#include "tests/simulation/watcher.h"

#include <tuple>

#include "tests/simulation/end_reasons.h"
#include "tests/simulation/promise.h"
#include "tests/simulation/wire.h"

namespace veltrane::simulation {
namespace {

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
    : machine_(machine), baton_(baton), process_(process) {
  for (const Reason& reason : Reasons()) reasons_[reason.name] = 0;
}

void Watcher::OnBegin() {
  OnGone();
  own_.reset();
  states_.clear();
  is_stopped_ = false;
  cannot_wake_ = false;
  undisturbed_ = true;
  nonce_.clear();
  counted_ = false;
  phases_.OnBegin();
}

void Watcher::OnGone() {
  exchange_.reset();
  awaits_request_ = false;
  timers_.clear();
  last_calls_.clear();
  main_calls_.clear();
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
  for (auto& [id, timer] : timers_) timer.events = timer.events || !timer.calls.empty();
}

std::string Watcher::OnArrival(const Thread& thread, const std::string& name) {
  if (!Closes(name)) process_.ForgetRefused(thread.name);
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
  shown_ = Shown();
  exchange_.emplace();
  ExchangeFacts& facts = *exchange_;
  const std::string read = machine_.pipes.LastRead();
  facts.request = read.substr(0, read.find('\0'));
  facts.op = FieldOf(facts.request, "op");
  facts.wished_node = FieldOf(facts.request, "node_id");
  facts.client_names_key = NamesKey(facts.request);
  facts.nonce = nonce_;
  facts.counted = counted_;
  facts.phases_before = phases_.Now();
  facts.tunnel_before = Tunnel();
  facts.conf_before = Conf();
  facts.odd_services = odd_services_;
  facts.odd_files = odd_files_;
  facts.events = is_stopped_;
  facts.beside_timer = TimerTearsDown();
  facts.promise = PromiseFor(machine_, facts.request, nonce_, counted_,
                             own_ ? *own_ : PublicAddressesIn(machine_.routes.AdapterAddresses()));
  work_done_ = false;
  reply_lost_ = false;
}

void Watcher::FinishWork() {
  if (work_done_) return;
  work_done_ = true;
  ExchangeFacts& facts = *exchange_;
  std::tie(facts.phase_after, facts.node_after) = ReadPhase();
  facts.tunnel_after = Tunnel();
  facts.conf_after = Conf();
  facts.recorded_after = certain_;
  facts.shown = shown_.Facts(own_.value_or(std::set<std::string>()));
  facts.due_command_line = simulated::Narrow(L"\"" + machine_.libraries.ExecutablePath() +
                                             L"\" /service \"" + Folder() + L"\\active.conf\"");
  if (const auto tunnel = machine_.services.Find(kTunnel)) {
    facts.command_line = simulated::Narrow(tunnel->settings.command_line);
    facts.has_own_sid = tunnel->sid_type == 1U;
  }
  NoteTimer();
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
  phases_.OnExchange(facts, connect_has_begun_);
  return exchange_court_.Judge(facts);
}

OpenThings Watcher::Open() const {
  return {.service_handles = machine_.services.OpenHandles(),
          .streams = machine_.files.OpenStreams(),
          .pipe_instances = machine_.pipes.OpenInstances(),
          .security_records = machine_.security.LiveRecords(),
          .libraries = machine_.libraries.Loaded(),
          .locks = process_.Locks()};
}

LastCall Watcher::LastOf(const std::string& thread) const {
  for (const auto& [role, call] : last_calls_) {
    if (RoleText(role) == thread) return call;
  }
  return {};
}

std::string Watcher::OnEnd(const Process::End& end) {
  EndFacts facts;
  facts.by = end.by;
  facts.thread = end.thread;
  facts.exit_code = end.exit_code;
  facts.arguments = process_.Arguments();
  facts.other_threads = baton_.Count() - baton_.Count(Role::kActor) - 1;
  facts.served = exchange_;
  facts.last_call = LastOf(end.thread);
  if (baton_.Count(Role::kPipe) != 0) facts.last_pipe_call = LastOf("pipe").name;
  facts.timer_tears_down = TimerTearsDown();
  facts.passive_guard = shown_.LastIsOn("VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP");
  facts.thread_refused = process_.Refused() == end.thread;
  facts.stop_is_served = !states_.empty() && states_.back() == 3;
  facts.console_stops = baton_.Count(Role::kHandler) != 0;
  facts.cannot_wake = cannot_wake_;
  facts.joined_twice = process_.DoubleJoined() == end.thread;
  facts.calls = main_calls_;
  facts.library_answers = library_answers_;
  facts.open = Open();
  if (const Reason* reason = ReasonOf(facts)) ++reasons_[reason->name];
  return end_court_.Judge(facts);
}

Counts Watcher::Asked() const {
  Counts counts;
  call_court_.AddTo(counts);
  moment_court_.AddTo(counts);
  exchange_court_.AddTo(counts);
  timer_court_.AddTo(counts);
  conversation_court_.AddTo(counts);
  end_court_.AddTo(counts);
  for (const auto& [name, times] : reasons_) counts.push_back({"ended by " + name, times});
  return counts;
}

}  // namespace veltrane::simulation
