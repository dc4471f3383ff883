// What the watcher makes of each call.

#include <algorithm>

#include "tests/simulated/boundary_calls.h"
#include "tests/simulation/invariants.h"
#include "tests/simulation/promise.h"
#include "tests/simulation/watcher.h"

namespace veltrane::simulation {
namespace {

constexpr wchar_t kTunnel[] = L"VeltraneVpnTunnel$Active";
constexpr std::uint32_t kAlreadyRunning = 1056;

bool IsChange(const std::string& name) {
  const auto* call =
      std::find_if(simulated::kBoundaryCalls.begin(), simulated::kBoundaryCalls.end(),
                   [&](const auto& known) { return known.name == name; });
  return call != simulated::kBoundaryCalls.end() && call->changes;
}

using Addresses = std::vector<std::uint32_t>;

bool EraseOne(std::vector<std::string>& list, const std::string& text) {
  const auto found = std::find(list.begin(), list.end(), text);
  if (found == list.end()) return false;
  list.erase(found);
  return true;
}

}  // namespace

std::string Watcher::OnCall(const Thread& thread, const std::string& name, const std::string& text,
                            std::optional<std::uint32_t> failed) {
  CallFacts call;
  call.role = thread.role;
  call.name = name;
  call.text = text;
  call.failed = failed;
  call.changes = IsChange(name);
  call.locks = thread.locks;
  const auto& arguments = process_.Arguments();
  call.serves = arguments.size() == 1 &&
                (arguments[0] == L"--run-as-service" || arguments[0] == L"--console");
  if (!Closes(name)) last_calls_[thread.role] = {name, failed};
  if (name == "FindBestRoute" && !failed) gateway_ = PhysicalWay(machine_);
  CompleteFacts(call);
  if (thread.role == Role::kTimer) NoteTimerCall(thread, call);
  const std::string broken = call_court_.Judge(call);
  NoteProcessCall(call);
  NoteRouteCall(call);
  if (exchange_ && !work_done_ && thread.role == Role::kPipe) NoteCall(call);
  if (exchange_ && thread.role == Role::kPipe && name == "ServerPipe.Write") {
    reply_lost_ = failed.has_value();
  }
  return broken;
}

// A thread that ends the process closes on its way what it has open.
bool Watcher::Closes(const std::string& name) {
  return name == "ServerPipe.Close" || name == "FreeSecurityAttributes";
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
  if (call.name == "TestExistence") {
    // A folder that could not be read is another one.
    const std::string path = call.text.substr(call.name.size() + 1);
    call.file_is_there = machine_.files.Exists(std::wstring(path.begin(), path.end()));
  }
  if (call.name.starts_with("Service") || call.name == "PrintOutput") {
    const auto tunnel = machine_.services.Find(kTunnel);
    call.polls = polls_[call.role];
    call.tunnel_installed = tunnel.has_value();
    call.tunnel_stopped = tunnel && tunnel->state == simulated::kStopped;
    call.tunnel_running = tunnel && tunnel->state == simulated::kRunning;
    call.undisturbed = undisturbed_ && !odd_services_;
  }
}

void Watcher::NoteProcessCall(const CallFacts& call) {
  if (call.changes && !call.name.starts_with("Service")) files_changed_ = true;
  if (call.name == "ReadAdapterAddresses") {
    const auto addresses = machine_.routes.AdapterAddresses();
    own_ = PublicAddressesIn(
        call.failed ? simulated::FailedList(addresses, *call.failed).value_or(Addresses())
                    : addresses);
  }
  if (call.name == "IsRemoteSession" || call.name == "OpenAndClosePipe") counted_ = true;
  if (call.name == "OpenAndClosePipe") cannot_wake_ = call.failed || !machine_.pipes.ServerWaits();
  if (!call.serves && call.role == Role::kMain) main_calls_.push_back(call);
  if (call.role == Role::kPipe && call.name == "ServerPipe.Read") {
    awaits_request_ = true;
    reads_ = machine_.pipes.Reads();
  }
}

void Watcher::NoteCall(const CallFacts& call) {
  ExchangeFacts& facts = *exchange_;
  facts.calls.push_back(call);
  facts.failures = facts.failures || call.failed;
  shown_.OnCall(machine_, call);
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
    exchange_->looks.push_back(LookAtTable(call));
  }
  // From here on, a connect has forgotten what an earlier one had recorded.
  if (call.text == "ReadProcessVariable VELTRANE_POC_ADMIN_BYPASS") ForgetRoutes();
  if (call.name == "CreateForwardRow") NoteCreatedRow(call);
  if (call.name == "DeleteForwardRow") {
    const std::string row = call.text.substr(call.name.size() + 1);
    EraseOne(recorded_, row);
    EraseOne(certain_, row);
    late_.push_back(row);
    if (exchange_ && call.role == Role::kPipe) exchange_->deleted.push_back(row);
  }
}

void Watcher::NoteCreatedRow(const CallFacts& call) {
  const std::string row = call.text.substr(call.name.size() + 1);
  const std::string key = row.substr(0, row.find(" metric "));
  const auto table = machine_.routes.Texts();
  const bool is_there = std::any_of(table.begin(), table.end(), [&](const std::string& other) {
    return other.starts_with(key + " metric ");
  });
  const bool succeeds = call.failed ? *call.failed == 0 : !is_there;
  if (exchange_) {
    exchange_->attempts.push_back({.address = row.substr(0, row.find('/')),
                                   .succeeded = succeeds,
                                   .looks = exchange_->looks.size()});
  }
  if (!succeeds) return;
  recorded_.push_back(row);
  if (!TimerTearsDown()) certain_.push_back(row);
  if (exchange_) exchange_->created.push_back(row);
}

void Watcher::ForgetRoutes() {
  late_.insert(late_.end(), recorded_.begin(), recorded_.end());
  recorded_.clear();
  certain_.clear();
}

}  // namespace veltrane::simulation
