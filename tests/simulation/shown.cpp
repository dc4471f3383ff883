#include "tests/simulation/shown.h"

#include <algorithm>

#include "tests/simulation/administrators.h"
#include "tests/simulation/promise.h"
#include "tests/simulation/settings.h"
#include "tests/simulation/wire.h"

namespace veltrane::simulation {
namespace {

constexpr char kGuard[] = "VELTRANE_POC_DISABLE_DEFAULT_ROUTE";
constexpr char kDelay[] = "VELTRANE_POC_AUTO_STOP_SECONDS";
constexpr char kBypass[] = "VELTRANE_POC_ADMIN_BYPASS";

std::string LastWord(const std::string& text) { return text.substr(text.rfind(' ') + 1); }

// What is left of a list that is answered with this failure.
template <typename Row>
std::vector<Row> Answered(const std::vector<Row>& rows, const CallFacts& call) {
  if (!call.failed) return rows;
  return simulated::FailedList(rows, *call.failed).value_or(std::vector<Row>());
}

}  // namespace

std::string Shown::Lookup::Value() const {
  const auto found = std::find_if(scopes.begin(), scopes.end(),
                                  [](const std::string& value) { return !value.empty(); });
  return found == scopes.end() ? "" : *found;
}

void Shown::OnCall(const simulated::Machine& machine, const CallFacts& call) {
  if (call.name == "WideToUtf8") {
    if (call.failed && value_may_be_lost_) lookups_.back().scopes.back().clear();
    return;
  }
  value_may_be_lost_ = false;
  OnSetting(machine, call);
  OnSession(machine, call);
  if (call.name == "ReadTcpConnections") {
    peers_ = PeersIn(Answered(machine.connections.Rows(), call));
  }
  if (call.name == "FindBestRoute") {
    way_ = call.failed ? std::nullopt : PhysicalWay(machine);
  }
  if (call.failed && (call.name == "ParseIpv4" || call.name == "FormatIpv4")) {
    unsure_.insert(LastWord(call.text));
  }
}

void Shown::OnSetting(const simulated::Machine& machine, const CallFacts& call) {
  const bool of_process = call.name == "ReadProcessVariable";
  if (!of_process && call.name != "ReadRegistryText") return;
  const std::string name = LastWord(call.text);
  const std::wstring wide(name.begin(), name.end());
  std::string value;
  if (of_process) {
    value = ProcessSettingOf(machine, wide);
    lookups_.push_back({name, {}});
  } else {
    const bool of_machine = call.text.find("HKLM") != std::string::npos;
    value = of_machine ? MachineSettingOf(machine, wide) : UserSettingOf(machine, wide);
  }
  if (call.failed) value.clear();
  if (lookups_.empty()) return;
  lookups_.back().scopes.push_back(value);
  value_may_be_lost_ = true;
}

void Shown::OnSession(const simulated::Machine& machine, const CallFacts& call) {
  if (call.name == "IsRemoteSession") remote_ = machine.sessions.IsRemote();
  if (call.name == "ActiveConsoleSession") {
    console_ = call.failed ? kNoSession : machine.sessions.Console();
    guests_.clear();
  }
  if (call.name == "ReadSessions") sessions_ = Answered(machine.sessions.List(), call);
  if (call.name == "ReadClientAddress") {
    const auto id = static_cast<std::uint32_t>(std::stoul(LastWord(call.text)));
    guests_.emplace(id, call.failed ? "" : GuestOf(machine, id));
  }
}

std::vector<const Shown::Lookup*> Shown::Of(const std::string& name) const {
  std::vector<const Lookup*> found;
  for (const Lookup& lookup : lookups_) {
    if (lookup.name == name) found.push_back(&lookup);
  }
  return found;
}

bool Shown::LastIsOn(const std::string& name) const {
  const auto lookups = Of(name);
  return !lookups.empty() && IsOn(lookups.back()->Value());
}

// The delay is that of the settings with which the connect began, or else of those at its end.
std::int64_t Shown::Delay() const {
  const auto lookups = Of(kDelay);
  if (lookups.empty()) return 0;
  const std::int64_t first = SecondsOf(lookups.front()->Value());
  return first > 0 ? first : SecondsOf(lookups.back()->Value());
}

// A session that the program has not asked about counts with an address that it cannot name.
std::vector<std::string> Shown::Guests() const {
  std::vector<std::string> guests;
  for (const std::uint32_t id : SessionsThatCount(console_, sessions_)) {
    if (!guests_.contains(id)) guests.push_back("198.18.255." + std::to_string(id));
    const auto [first, last] = guests_.equal_range(id);
    for (auto answer = first; answer != last; ++answer) guests.push_back(answer->second);
  }
  return guests;
}

ShownFacts Shown::Facts(const std::set<std::string>& own) const {
  ShownFacts facts{.remote = remote_, .delay = Delay(), .unsure = unsure_, .way = way_};
  if (const auto guard = Of(kGuard); !guard.empty()) {
    facts.guard = IsOn(guard.front()->Value());
    facts.guard_of_machine = guard.front()->scopes.size() > 1 && IsOn(guard.front()->scopes[1]);
  }
  const auto word = Of(kBypass);
  if (word.empty()) return facts;
  // What the bypass is turned on by is looked up before what it is to keep.
  const auto ip = Of("ADMIN_BYPASS_IP");
  const auto ips = Of("ADMIN_BYPASS_IPS");
  Administration administration{.word = word.front()->Value(),
                                .ip = ip.empty() ? "" : ip.front()->Value(),
                                .ips = ips.empty() ? "" : ips.front()->Value(),
                                .peers = peers_,
                                .guests = Guests()};
  facts.bypass = BypassIsOn(administration);
  administration.ip = ip.empty() ? "" : ip.back()->Value();
  administration.ips = ips.empty() ? "" : ips.back()->Value();
  for (const auto& [address, required] : Candidates(administration, own)) {
    facts.selected.insert(address);
    if (required) facts.required.insert(address);
  }
  return facts;
}

}  // namespace veltrane::simulation
