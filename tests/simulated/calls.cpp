#include "tests/simulated/calls.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace veltrane::simulated {
namespace {

struct Kind {
  std::string_view name;
  bool changes = false;
  bool fails = true;
  bool logged = true;
};

constexpr Kind Reading(std::string_view name) { return {name}; }
constexpr Kind Changing(std::string_view name) { return {name, true}; }
constexpr Kind Unfailing(std::string_view name) { return {name, false, false}; }
constexpr Kind Unlogged(std::string_view name) { return {name, false, true, false}; }

constexpr std::array kKinds{
    Unfailing("UtcTicks"),
    Unfailing("Sleep"),
    Reading("ReadTcpConnections"),
    Unfailing("PrintOutput"),
    Unfailing("PrintError"),
    Unfailing("PrintErrorLine"),
    Unfailing("PrintDebugger"),
    Unfailing("InstallConsoleHandler"),
    Reading("ReadProcessVariable"),
    Reading("ReadRegistryText"),
    Reading("ReadRegistryTexts"),
    Changing("CreateFolders"),
    Reading("TestExistence"),
    Changing("OutputFile.Open"),
    Changing("OutputFile.Write"),
    Changing("OutputFile.Close"),
    Changing("MoveFileWithFlags"),
    Changing("RemoveFile"),
    Changing("SetProtectedAccess"),
    Unlogged("ParseIpv4"),
    Unlogged("FormatIpv4"),
    Unlogged("WideToUtf8"),
    Reading("Library.Load"),
    Reading("Library.Find"),
    Unfailing("Library.Free"),
    Unfailing("ExecutablePath"),
    Reading("ServerPipe.Create"),
    Reading("ServerPipe.WaitForClient"),
    Reading("ServerPipe.Read"),
    Reading("ServerPipe.Write"),
    Unfailing("ServerPipe.Flush"),
    Unfailing("ServerPipe.Disconnect"),
    Unfailing("ServerPipe.Close"),
    Reading("OpenAndClosePipe"),
    Reading("ReadForwardTable"),
    Changing("CreateForwardRow"),
    Changing("DeleteForwardRow"),
    Reading("FindBestRoute"),
    Reading("ReadInterfaceNames"),
    Reading("ReadAdapterAddresses"),
    Reading("MakeNtSid"),
    Reading("ReadSessionUserSid"),
    Reading("MakeSecurityAttributes"),
    Unfailing("FreeSecurityAttributes"),
    Reading("ServiceManager.Open"),
    Reading("ServiceManager.OpenExisting"),
    Changing("ServiceManager.Create"),
    Changing("Service.ChangeCommandLine"),
    Changing("Service.SetSidType"),
    Changing("Service.Start"),
    Changing("Service.SendStop"),
    Reading("Service.QueryState"),
    Changing("Service.Delete"),
    Reading("RunServiceDispatcher"),
    Reading("RegisterControlHandler"),
    Unfailing("ReportServiceStatus"),
    Unfailing("IsRemoteSession"),
    Unfailing("ActiveConsoleSession"),
    Reading("ReadSessions"),
    Reading("ReadClientAddress"),
};

const Kind& KindOf(const std::string& name) {
  const auto* kind = std::find_if(kKinds.begin(), kKinds.end(), [&name](const Kind& candidate) {
    return candidate.name == name;
  });
  if (kind == kKinds.end()) Die("there is no boundary call named " + name);
  return *kind;
}

void CheckFails(const std::string& name) {
  if (!KindOf(name).fails) Die(name + " cannot fail");
}

}  // namespace

template <typename Keep>
std::vector<std::string> Calls::Texts(Keep keep) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  std::vector<std::string> texts;
  for (const Entry& entry : log_) {
    if (keep(entry)) texts.push_back(entry.text);
  }
  return texts;
}

std::vector<std::string> Calls::All() const {
  return Texts([](const Entry&) { return true; });
}

std::vector<std::string> Calls::Changes() const {
  return Texts([](const Entry& entry) { return KindOf(entry.name).changes; });
}

std::vector<std::string> Calls::Of(const std::string& name) const {
  KindOf(name);
  return Texts([&name](const Entry& entry) { return entry.name == name; });
}

std::vector<std::string> Calls::StartingWith(const std::string& beginning) const {
  return Texts([&beginning](const Entry& entry) { return entry.text.starts_with(beginning); });
}

std::size_t Calls::Count(const std::string& name) const {
  KindOf(name);
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto plan = plans_.find(name);
  return plan == plans_.end() ? 0 : plan->second.counted;
}

void Calls::Clear() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  log_.clear();
  for (auto& [name, plan] : plans_) plan.counted = 0;
}

void Calls::WaitForCount(const std::string& name, std::size_t count) {
  KindOf(name);
  std::unique_lock<std::mutex> lock(core_.mutex);
  const Plan& plan = plans_[name];
  core_.Await(lock, name + " to be called", [&] { return plan.counted >= count; });
}

void Calls::Fail(const std::string& name, std::size_t nth, std::uint32_t status) {
  CheckFails(name);
  if (nth == 0) Die("the next call is call 1, not 0");
  const std::lock_guard<std::mutex> lock(core_.mutex);
  Plan& plan = plans_[name];
  plan.failures[plan.calls + nth] = status;
}

void Calls::FailAlways(const std::string& name, std::uint32_t status) {
  CheckFails(name);
  const std::lock_guard<std::mutex> lock(core_.mutex);
  plans_[name].failure_of_all = status;
}

void Calls::FailWhere(const std::string& name, const std::string& fragment, std::uint32_t status) {
  CheckFails(name);
  const std::lock_guard<std::mutex> lock(core_.mutex);
  plans_[name].conditional_failures.push_back({fragment, status});
}

void Calls::Heal(const std::string& name) {
  CheckFails(name);
  const std::lock_guard<std::mutex> lock(core_.mutex);
  Plan& plan = plans_[name];
  plan.failures.clear();
  plan.conditional_failures.clear();
  plan.failure_of_all.reset();
}

void Calls::OnCall(const std::string& name, std::size_t nth, std::function<void()> hook) {
  KindOf(name);
  if (nth == 0) Die("the next call is call 1, not 0");
  const std::lock_guard<std::mutex> lock(core_.mutex);
  Plan& plan = plans_[name];
  plan.hooks.emplace(plan.calls + nth, std::move(hook));
}

void Calls::OnEveryCall(const std::string& name, std::function<void()> hook) {
  KindOf(name);
  const std::lock_guard<std::mutex> lock(core_.mutex);
  plans_[name].hooks_of_all.push_back(std::move(hook));
}

std::optional<std::uint32_t> Calls::TakeFailure(Plan& plan, const std::string& text) const {
  if (const auto single = plan.failures.find(plan.calls); single != plan.failures.end()) {
    const std::uint32_t status = single->second;
    plan.failures.erase(single);
    return status;
  }
  for (const Conditional& conditional : plan.conditional_failures) {
    if (text.find(conditional.fragment) != std::string::npos) return conditional.status;
  }
  return plan.failure_of_all;
}

std::optional<std::uint32_t> Calls::Begin(const std::string& name, const std::string& details) {
  const std::string text = details.empty() ? name : name + " " + details;
  const Kind& kind = KindOf(name);
  std::vector<std::function<void()>> hooks;
  std::optional<std::uint32_t> failure;
  {
    const std::lock_guard<std::mutex> lock(core_.mutex);
    if (kind.logged) log_.push_back({name, text});
    Plan& plan = plans_[name];
    ++plan.calls;
    ++plan.counted;
    failure = TakeFailure(plan, text);
    hooks = plan.hooks_of_all;
    const auto [first, last] = plan.hooks.equal_range(plan.calls);
    for (auto hook = first; hook != last; ++hook) hooks.push_back(std::move(hook->second));
    plan.hooks.erase(first, last);
    core_.changed.notify_all();
  }
  for (const auto& hook : hooks) hook();
  return failure;
}

}  // namespace veltrane::simulated
