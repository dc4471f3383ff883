#include "tests/simulation/watcher.h"

#include <algorithm>

#include "service/server_slot.h"
#include "tests/simulated/boundary_calls.h"
#include "tests/simulation/invariants.h"
#include "tests/simulation/promise.h"
#include "tests/simulation/wire.h"

namespace veltrane::simulation {
namespace {

constexpr wchar_t kPassiveGuard[] = L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP";
constexpr wchar_t kTunnel[] = L"VeltraneVpnTunnel$Active";
constexpr std::uint32_t kAlreadyRunning = 1056;
constexpr std::uint32_t kGoodMetric = 15;

bool IsChange(const std::string& name) {
  const auto* call =
      std::find_if(simulated::kBoundaryCalls.begin(), simulated::kBoundaryCalls.end(),
                   [&](const auto& known) { return known.name == name; });
  return call != simulated::kBoundaryCalls.end() && call->changes;
}

bool EraseOne(std::vector<std::string>& list, const std::string& text) {
  const auto found = std::find(list.begin(), list.end(), text);
  if (found == list.end()) return false;
  list.erase(found);
  return true;
}

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
  if (!reply_lost_) facts.reply = machine_.pipes.LastWritten();
  const Reply reply = facts.reply ? ReplyOf(*facts.reply) : Reply();
  const Thread* timer = baton_.Find(Role::kTimer);
  if (timer != nullptr && reply.auto_stop_scheduled) {
    timers_[timer->id].delay = reply.auto_stop_seconds;
  }
  return Judge(ExchangeInvariants(), facts);
}

std::string Watcher::OnCall(const Thread& thread, const std::string& name, const std::string& text,
                            std::optional<std::uint32_t> failed) {
  CallFacts call;
  call.role = thread.role;
  call.name = name;
  call.text = text;
  call.failed = failed;
  call.changes = IsChange(name);
  const auto& arguments = process_.Arguments();
  call.serves = arguments.size() == 1 &&
                (arguments[0] == L"--run-as-service" || arguments[0] == L"--console");
  last_calls_[thread.role] = name;
  if (thread.role == Role::kTimer) NoteTimerCall(thread, call);
  if (name == "FindBestRoute" && !failed) gateway_ = PhysicalWay(machine_);
  CompleteFacts(call);
  const std::string broken = Judge(CallInvariants(), call);
  NoteProcessCall(call);
  NoteRouteCall(call);
  if (exchange_ && !work_done_ && thread.role == Role::kPipe) NoteCall(call);
  if (exchange_ && thread.role == Role::kPipe && name == "ServerPipe.Write") {
    reply_lost_ = failed.has_value();
  }
  return broken;
}

void Watcher::CompleteFacts(CallFacts& call) {
  if (call.failed) undisturbed_ = false;
  if (call.name == "CreateForwardRow") call.gateway = gateway_;
  if (call.name == "DeleteForwardRow") {
    call.recorded = recorded_;
    if (TimerTearsDown() || (exchange_ && exchange_->beside_timer)) {
      call.recorded.insert(call.recorded.end(), late_.begin(), late_.end());
    }
  }
  if (call.name == "ReportServiceStatus") {
    states_.push_back(static_cast<std::uint32_t>(std::stoul(call.text.substr(20))));
    const Thread* timer = baton_.Find(Role::kTimer);
    if (states_.back() == 3) timer_at_stop_ = timer == nullptr ? 0 : timer->id;
    call.timer_outlives_stop = timer != nullptr && timer->id == timer_at_stop_;
  }
  call.states = states_;
  if (call.name == "Service.SendStop") polls_[call.role] = 0;
  if (call.name == "Service.QueryState") ++polls_[call.role];
  if (call.name == "Service.Delete" || call.name == "PrintOutput") {
    const auto tunnel = machine_.services.Find(kTunnel);
    call.polls = polls_[call.role];
    call.tunnel_stopped = tunnel && tunnel->state == simulated::kStopped;
    call.tunnel_running = tunnel && tunnel->state == simulated::kRunning;
    call.undisturbed = undisturbed_ && !odd_services_;
  }
}

void Watcher::NoteTimerCall(const Thread& thread, CallFacts& call) {
  Timer& timer = timers_[thread.id];
  call.timer_delay = timer.delay;
  call.timer_sleeps = timer.sleeps;
  if (call.name == "Sleep") {
    ++timer.sleeps;
  } else {
    timer.calls.push_back(call.name);
  }
  if (!exchange_) return;
  if (!timer.calls.empty()) exchange_->beside_timer = true;
  ++exchange_->sleeps_of_timer;
}

void Watcher::NoteProcessCall(const CallFacts& call) {
  if (call.changes && !call.name.starts_with("Service")) files_changed_ = true;
  if (call.name == "TestExistence" && call.failed) existence_unknown_ = RoleText(call.role);
  if (call.name == "ReadAdapterAddresses") {
    own_ = call.failed ? std::set<std::string>() : OwnPublicAddresses(machine_);
  }
  if (call.name == "IsRemoteSession" || call.name == "OpenAndClosePipe") counted_ = true;
  if (call.text == "ReportServiceStatus 3") stop_waits_ = true;
  if (call.text == "ReportServiceStatus 1") stop_waits_ = false;
  if (call.role == Role::kPipe && call.name == "ServerPipe.Read") {
    awaits_request_ = true;
    reads_ = machine_.pipes.Reads();
  }
}

void Watcher::NoteCall(const CallFacts& call) {
  ExchangeFacts& facts = *exchange_;
  facts.calls.push_back(call);
  facts.failures = facts.failures || call.failed;
  facts.manager_failed = facts.manager_failed || (call.failed && call.name.starts_with("Service"));
  if (call.name == "UtcTicks") {
    facts.deadline_counts_from = machine_.clock.Ticks() / 10'000'000;
  }
  if (call.name == "IsRemoteSession") connect_has_begun_ = true;
  LookAtAccess(call);
  if (call.name == "Service.SendStop") facts.stop_sent = facts.started;
  if (call.name == "Service.Start") {
    NoteStart();
    const auto tunnel = machine_.services.Find(kTunnel);
    const bool succeeds = tunnel && !tunnel->marked_for_delete;
    facts.started = call.failed ? *call.failed == 0 || *call.failed == kAlreadyRunning : succeeds;
  }
}

void Watcher::NoteStart() {
  start_was_called_ = true;
  exchange_->looks_before_start = exchange_->looks.size();
  exchange_->conf_at_start = Conf();
  exchange_->replaced = !Tunnel().running;
}

void Watcher::NoteRouteCall(const CallFacts& call) {
  if (call.role == Role::kPipe && exchange_ && call.name == "ReadForwardTable") {
    exchange_->looks.push_back(call.failed ? std::set<std::string>() : GoodHostRoutes());
  }
  // From here on, a connect has forgotten what an earlier one had recorded.
  if (call.text == "ReadProcessVariable VELTRANE_POC_ADMIN_BYPASS") ForgetRoutes();
  if (call.name == "CreateForwardRow") {
    const std::string row = call.text.substr(call.name.size() + 1);
    const std::string key = row.substr(0, row.find(" metric "));
    const auto table = machine_.routes.Texts();
    const bool is_there = std::any_of(table.begin(), table.end(), [&](const std::string& other) {
      return other.starts_with(key + " metric ");
    });
    if (call.failed ? *call.failed != 0 : is_there) return;
    recorded_.push_back(row);
    if (!TimerTearsDown()) certain_.push_back(row);
    if (exchange_) exchange_->created.push_back(row);
  }
  if (call.name == "DeleteForwardRow") {
    const std::string row = call.text.substr(call.name.size() + 1);
    EraseOne(recorded_, row);
    EraseOne(certain_, row);
    late_.push_back(row);
    if (exchange_ && call.role == Role::kPipe) exchange_->deleted.push_back(row);
  }
}

void Watcher::ForgetRoutes() {
  late_.insert(late_.end(), recorded_.begin(), recorded_.end());
  recorded_.clear();
  certain_.clear();
}

std::string Watcher::OnMoment() {
  NoticeRequest();
  const std::string timers = JudgeEndedTimers();
  if (!timers.empty()) return timers;
  if (exchange_ && !work_done_ && TimerTearsDown()) exchange_->beside_timer = true;
  MomentFacts moment;
  moment.process_lives = process_.Lives();
  moment.timers = baton_.Count(Role::kTimer);
  moment.pipe_threads = baton_.Count(Role::kPipe);
  moment.idle = IsIdle();
  if (!exchange_ && !TimerTearsDown()) late_.clear();
  moment.has_server = process_.Lives() && RegisteredServer() != nullptr;
  if (moment.has_server) ReadPhase(moment.phase, moment.node);
  moment.service_handles = machine_.services.OpenHandles();
  moment.streams = machine_.files.OpenStreams();
  moment.pipe_instances = machine_.pipes.OpenInstances();
  moment.security_records = machine_.security.LiveRecords();
  moment.serves_connect = exchange_ && exchange_->op == "connect";
  moment.prepares_connect = PreparesConnect();
  if (files_changed_) moment.files_with_keys = FilesWithKeys();
  return Judge(MomentInvariants(), moment);
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

bool Watcher::PreparesConnect() const {
  return exchange_ && !work_done_ && connect_has_begun_ && !start_was_called_ &&
         !exchange_->beside_timer;
}

std::vector<std::string> Watcher::FilesWithKeys() {
  files_changed_ = false;
  std::vector<std::string> files;
  for (const std::wstring& path : machine_.files.AllFiles()) {
    const std::string file = simulated::Narrow(path);
    const bool may = file.ends_with("\\Veltrane\\tunnels\\active.conf") ||
                     file.ends_with("\\Veltrane\\tunnels\\active.conf.tmp");
    if (!may && machine_.files.Bytes(path)->find(kSecret) != std::string::npos) {
      files.push_back(file);
    }
  }
  return files;
}

// The folder before the key is written into it, the temporary file before it is moved, and the file
// before the tunnel starts.
void Watcher::LookAtAccess(const CallFacts& call) {
  static const std::vector<std::string> kProtected = {"group S-1-5-18 0x10000000 inherit 3",
                                                      "group S-1-5-32-544 0x10000000 inherit 3"};
  std::wstring path = Folder();
  if (call.name == "MoveFileWithFlags") {
    path += L"\\active.conf.tmp";
  } else if (call.name == "Service.Start") {
    path += L"\\active.conf";
  } else if (call.name != "OutputFile.Open" || !call.text.ends_with(".tmp")) {
    return;
  }
  const auto entries = machine_.files.Access(path);
  if (!machine_.files.Exists(path)) return;
  if (!entries || simulated::AccessTexts(*entries) != kProtected) {
    exchange_->open_to_others = simulated::Narrow(path);
  }
}

bool Watcher::IsIdle() const {
  if (!process_.Lives() || exchange_ || TimerTearsDown()) return false;
  const auto last = [this](Role role) {
    const auto known = last_calls_.find(role);
    return known == last_calls_.end() ? std::string() : known->second;
  };
  const bool is_service = process_.Arguments() == std::vector<std::wstring>{L"--run-as-service"};
  if (last(is_service ? Role::kServiceMain : Role::kMain) != "Sleep") return false;
  const std::string pipe = last(Role::kPipe);
  return pipe == "ServerPipe.WaitForClient" || pipe == "ServerPipe.Read" || pipe == "Sleep";
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

TunnelFacts Watcher::Tunnel() const {
  const auto tunnel = machine_.services.Find(kTunnel);
  return {tunnel.has_value(), tunnel && tunnel->state == simulated::kRunning};
}

std::wstring Watcher::Folder() const {
  const std::wstring data = machine_.environment.Process(L"ProgramData", 260);
  return (data.empty() ? L"C:\\ProgramData" : data) + L"\\Veltrane\\tunnels";
}

std::optional<std::string> Watcher::Conf() const {
  return machine_.files.Bytes(Folder() + L"\\active.conf");
}

bool Watcher::HasTunnelDefaultRoute() const {
  const std::vector<ForwardRow> rows = machine_.routes.Rows();
  return std::any_of(rows.begin(), rows.end(), [this](const ForwardRow& row) {
    const auto names = machine_.routes.Names(row.interface_index);
    if (row.dest != 0 || row.mask != 0 || !names) return false;
    const std::wstring name =
        simulated::FoldCase(names->alias.empty() ? names->description : names->alias);
    return name.find(L"wireguard") != std::wstring::npos ||
           name.find(L"wintun") != std::wstring::npos || name.find(L"tunnel") != std::wstring::npos;
  });
}

void Watcher::ReadPhase(std::string& phase, std::string& node) const {
  const IpcServer* server = RegisteredServer();
  if (server == nullptr) return;
  const Baton::Quiet quiet(baton_);
  const ConnectionPhase now = server->Snapshot();
  phase = now.phase;
  node = now.node_id;
}

std::set<std::string> Watcher::GoodHostRoutes() const {
  std::set<std::string> good;
  for (const ForwardRow& row : machine_.routes.Rows()) {
    if (row.mask != 0xFFFFFFFF || row.metric1 > kGoodMetric) continue;
    good.insert(simulated::IpText(row.dest) + " via " + simulated::IpText(row.next_hop) + " if " +
                std::to_string(row.interface_index));
  }
  return good;
}

}  // namespace veltrane::simulation
