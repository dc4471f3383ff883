#include "tests/simulated/calls.h"

#include <algorithm>
#include <utility>

#include "tests/simulated/boundary_calls.h"

namespace veltrane::simulated {
namespace {

const BoundaryCall& Known(const std::string& name) {
  const auto* call =
      std::find_if(kBoundaryCalls.begin(), kBoundaryCalls.end(),
                   [&name](const BoundaryCall& candidate) { return candidate.name == name; });
  if (call == kBoundaryCalls.end()) Die("there is no boundary call named " + name);
  return *call;
}

void CheckFails(const std::string& name) {
  if (!Known(name).fails) Die(name + " cannot fail");
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
  return Texts([](const Entry& entry) { return Known(entry.name).changes; });
}

std::vector<std::string> Calls::Of(const std::string& name) const {
  Known(name);
  return Texts([&name](const Entry& entry) { return entry.name == name; });
}

std::vector<std::string> Calls::StartingWith(const std::string& beginning) const {
  return Texts([&beginning](const Entry& entry) { return entry.text.starts_with(beginning); });
}

std::size_t Calls::Count(const std::string& name) const {
  Known(name);
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
  Known(name);
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
  Known(name);
  if (nth == 0) Die("the next call is call 1, not 0");
  const std::lock_guard<std::mutex> lock(core_.mutex);
  Plan& plan = plans_[name];
  plan.hooks.emplace(plan.calls + nth, std::move(hook));
}

void Calls::OnEveryCall(const std::string& name, std::function<void()> hook) {
  Known(name);
  const std::lock_guard<std::mutex> lock(core_.mutex);
  plans_[name].hooks_of_all.push_back(std::move(hook));
}

void Calls::Observe(Observer observer) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  observer_ = std::move(observer);
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
  const BoundaryCall& call = Known(name);
  std::vector<std::function<void()>> hooks;
  std::optional<std::uint32_t> failure;
  {
    const std::lock_guard<std::mutex> lock(core_.mutex);
    if (call.logged) log_.push_back({name, text});
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
  if (observer_) observer_(name, text);
  for (const auto& hook : hooks) hook();
  return failure;
}

}  // namespace veltrane::simulated
