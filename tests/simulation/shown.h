#pragma once

// What the machine shows to one request: the answers of the calls that read something. From them
// follows by the rules what the request must lead to, whatever fails or changes meanwhile.

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/simulated/machine.h"
#include "tests/simulation/facts.h"

namespace veltrane::simulation {

class Shown {
 public:
  // A call for the request, before it has its effect.
  void OnCall(const simulated::Machine& machine, const CallFacts& call);

  // What follows. `own` has the machine's own public addresses as the process knows them.
  ShownFacts Facts(const std::set<std::string>& own) const;

  // Whether the lookup that came last found this switch on.
  bool LastIsOn(const std::string& name) const;

 private:
  // The scopes in which a setting was looked up, one after the other.
  struct Lookup {
    std::string name;
    std::vector<std::string> scopes;

    std::string Value() const;
  };

  void OnSetting(const simulated::Machine& machine, const CallFacts& call);
  void OnSession(const simulated::Machine& machine, const CallFacts& call);
  std::vector<const Lookup*> Of(const std::string& name) const;
  std::int64_t Delay() const;
  std::vector<std::string> Guests() const;

  std::vector<Lookup> lookups_;
  bool value_may_be_lost_ = false;  // the last call answered a setting
  bool remote_ = false;
  std::vector<std::string> peers_;
  std::uint32_t console_ = 0xFFFFFFFF;
  std::vector<Session> sessions_;
  std::multimap<std::uint32_t, std::string> guests_;  // by session, as they were answered
  std::optional<std::string> way_;
  std::set<std::string> unsure_;
};

}  // namespace veltrane::simulation
