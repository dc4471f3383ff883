#pragma once

// The log of boundary calls, and the switches that make a call fail or let a test act just before
// it. The names and the texts of the calls are listed in boundary_calls.h.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/simulated/core.h"

namespace veltrane::simulated {

// Stand in the place of a status. The first half, rounded down, of a list is answered, or of the
// bytes of a file is written; an empty list is answered, or an empty message read. For the calls
// that boundary_calls.h names; all others take them for any status.
inline constexpr std::uint32_t kOnlyHalf = 0xE0000001;
inline constexpr std::uint32_t kNothingAtAll = 0xE0000002;

// What reading a list answers when the call is to fail with this status: nullopt, or a part of it.
template <typename Row>
std::optional<std::vector<Row>> FailedList(std::vector<Row> rows, std::uint32_t status) {
  if (status != kOnlyHalf && status != kNothingAtAll) return std::nullopt;
  rows.resize(status == kOnlyHalf ? rows.size() / 2 : 0);
  return rows;
}

// Every member may be called on any thread, also from a hook.
class Calls {
 public:
  explicit Calls(Core& core) : core_(core) {}

  // The texts of the calls made so far, oldest first: all; those that change routes, services or
  // files (a failed attempt included); those with this name; those whose text begins like this.
  std::vector<std::string> All() const;
  std::vector<std::string> Changes() const;
  std::vector<std::string> Of(const std::string& name) const;
  std::vector<std::string> StartingWith(const std::string& beginning) const;

  // How often the function was called, the unlogged ones included.
  std::size_t Count(const std::string& name) const;

  // Empties the log and the counts; failures and hooks that were asked for stay as they are.
  void Clear();

  // Waits until the function has been called `count` times (see kPatience).
  void WaitForCount(const std::string& name, std::size_t count);

  // The n-th call from now (1 is the next) does nothing and answers `status`; functions that report
  // no number answer their failure (false, nullopt, null, an empty text) whatever the status is.
  // Status 0 for a function that returns a Win32 status is a success that does nothing.
  void Fail(const std::string& name, std::size_t nth, std::uint32_t status);

  // Every call from now on fails like that; with a fragment, every call whose text contains it. A
  // Fail for one call goes first, then FailWhere in the order given, then FailAlways.
  void FailAlways(const std::string& name, std::uint32_t status);
  void FailWhere(const std::string& name, const std::string& fragment, std::uint32_t status);

  // Takes back every failure asked for under this name.
  void Heal(const std::string& name);

  // Runs the hook on the calling thread, with no lock held, when the n-th call from now, or every
  // call, has been logged and has had no effect yet. The hook may change the machine and may itself
  // make boundary calls. A call that is also to fail runs its hooks first.
  void OnCall(const std::string& name, std::size_t nth, std::function<void()> hook);
  void OnEveryCall(const std::string& name, std::function<void()> hook);

  // Runs at every call of any function, the unlogged ones included, before all other hooks, on the
  // calling thread and with no lock held, with the name and the text of the call. Replaces an
  // earlier observer; set it while no other thread makes calls.
  using Observer = std::function<void(const std::string& name, const std::string& text)>;
  void Observe(Observer observer);

  // For the boundary functions: logs the call and runs its hooks. The text of the call is the name,
  // a blank and the details, or the name alone. Returns the status when the call is to fail.
  std::optional<std::uint32_t> Begin(const std::string& name, const std::string& details = {});

 private:
  struct Entry {
    std::string name;
    std::string text;
  };
  struct Conditional {
    std::string fragment;
    std::uint32_t status;
  };
  struct Plan {
    std::size_t calls = 0;    // since the machine started: the clock of the n-th call
    std::size_t counted = 0;  // since Clear
    std::map<std::size_t, std::uint32_t> failures;
    std::vector<Conditional> conditional_failures;
    std::optional<std::uint32_t> failure_of_all;
    std::multimap<std::size_t, std::function<void()>> hooks;
    std::vector<std::function<void()>> hooks_of_all;
  };

  template <typename Keep>
  std::vector<std::string> Texts(Keep keep) const;
  std::optional<std::uint32_t> TakeFailure(Plan& plan, const std::string& text) const;

  Core& core_;
  std::vector<Entry> log_;
  std::map<std::string, Plan> plans_;
  Observer observer_;
};

}  // namespace veltrane::simulated
