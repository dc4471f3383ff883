#include "tests/client/forecast/naive_forecast.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "tests/client/forecast/naive_inventor.h"

namespace veltrane {
namespace {

// Worlds with the same text need to be tried only once.
std::string WorldText(const World& world) {
  std::string text;
  for (const bool flag :
       {world.guard, world.bypass, world.names_other, world.names_subject, world.names_unpinnable,
        world.in_remote_session, world.guard_overridden}) {
    text += flag ? '1' : '0';
  }
  for (const std::string& token : world.named) text += "," + token;
  return text;
}

}  // namespace

NaiveRange NaiveVerdict(const Situation& situation, const Subject& subject) {
  NaiveRange range;
  std::set<std::string> tried;
  for (const World& world : situation.worlds) {
    if (!tried.insert(WorldText(world)).second) continue;
    const std::vector<naive::Machine> machines = naive::InventMachines(situation, world, subject);
    std::set<ForecastVerdict> verdicts;
    for (const naive::Machine& machine : machines) {
      verdicts.insert(naive::PlayConnect(machine, world, subject));
    }
    const bool agreed = verdicts.size() == 1;
    range.brightest =
        std::min(range.brightest, agreed ? *verdicts.begin() : ForecastVerdict::kUnknown);
    if (machines.size() > 1) verdicts.insert(ForecastVerdict::kUnknown);
    range.darkest = std::min(range.darkest, *verdicts.begin());
  }
  return range;
}

}  // namespace veltrane
