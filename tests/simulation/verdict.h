#pragma once

// How a rule is asked, and what it may answer.

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace veltrane::simulation {

// What a rule says of what was seen: what is broken, nothing ("") when it holds, and NotAsked when
// it is about something else.
class Verdict {
 public:
  Verdict(const char* broken) : broken_(broken) {}
  Verdict(std::string broken) : broken_(std::move(broken)) {}
  static Verdict NotAsked() {
    Verdict verdict("");
    verdict.was_asked_ = false;
    return verdict;
  }

  const std::string& Broken() const { return broken_; }
  bool WasAsked() const { return was_asked_; }

  // A verdict is what it says is broken.
  friend bool operator==(const Verdict& verdict, const std::string& broken) {
    return verdict.broken_ == broken;
  }
  friend std::ostream& operator<<(std::ostream& out, const Verdict& verdict) {
    return out << (verdict.was_asked_ ? '"' + verdict.broken_ + '"' : "not asked");
  }

 private:
  std::string broken_;
  bool was_asked_ = true;
};
inline Verdict NotAsked() { return Verdict::NotAsked(); }

// A rule, with its name.
template <typename Facts>
struct Invariant {
  const char* name;
  Verdict (*rule)(const Facts&);
};

// How often each of some rules had something to judge.
struct Count {
  std::string name;
  std::uint64_t times = 0;
};
using Counts = std::vector<Count>;

// Asks all rules about facts of one kind, again and again.
template <typename Facts>
class Court {
 public:
  // The list must outlive the court.
  explicit Court(const std::vector<Invariant<Facts>>& invariants)
      : invariants_(invariants), asked_(invariants.size()) {}

  // "NAME: what is broken" of the first that is broken; empty when all hold.
  std::string Judge(const Facts& facts) {
    for (std::size_t i = 0; i < invariants_.size(); ++i) {
      const Verdict verdict = invariants_[i].rule(facts);
      if (verdict.WasAsked()) ++asked_[i];
      if (!verdict.Broken().empty())
        return std::string(invariants_[i].name) + ": " + verdict.Broken();
    }
    return "";
  }

  void AddTo(Counts& counts) const {
    for (std::size_t i = 0; i < invariants_.size(); ++i) {
      counts.push_back({invariants_[i].name, asked_[i]});
    }
  }

 private:
  const std::vector<Invariant<Facts>>& invariants_;
  std::vector<std::uint64_t> asked_;
};

}  // namespace veltrane::simulation
