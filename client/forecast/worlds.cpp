#include "client/forecast/worlds.h"

#include "bypass/candidates.h"
#include "guard/settings.h"
#include "text/ascii.h"

namespace veltrane {
namespace {

// What one of the lists may be.
struct PossibleList {
  bool empty = true;
  std::vector<std::string> tokens;
  bool names_other = false;
  bool names_subject = false;
  bool names_unpinnable = false;
};

const KnownValue& ValueOf(const KnownSettings& settings, Setting setting) {
  return settings.values[static_cast<std::size_t>(setting)];
}

std::vector<bool> PossibleGuards(const KnownValue& value) {
  if (value) return {ParseEnvBool(*value)};
  return {false, true};
}

std::vector<std::optional<bool>> PossibleSwitches(const KnownValue& value) {
  if (value) return {ParseBypassSwitch(*value)};
  return {std::nullopt, true, false};
}

std::vector<PossibleList> PossibleLists(const KnownValue& value) {
  if (value) return {{.empty = value->empty(), .tokens = SplitAddressList(*value)}};
  PossibleList names_other;
  names_other.empty = false;
  names_other.names_other = true;
  PossibleList names_subject;
  names_subject.empty = false;
  names_subject.names_subject = true;
  PossibleList names_unpinnable;
  names_unpinnable.empty = false;
  names_unpinnable.names_unpinnable = true;
  return {PossibleList(), names_other, names_subject, names_unpinnable};
}

void Add(const PossibleList& list, World& world) {
  world.named.insert(world.named.end(), list.tokens.begin(), list.tokens.end());
  world.names_other = world.names_other || list.names_other;
  world.names_subject = world.names_subject || list.names_subject;
  world.names_unpinnable = world.names_unpinnable || list.names_unpinnable;
}

}  // namespace

std::vector<World> ListWorlds(const KnownSettings& settings) {
  const std::vector<bool> guards = PossibleGuards(ValueOf(settings, Setting::kGuard));
  const auto switches = PossibleSwitches(ValueOf(settings, Setting::kBypassSwitch));
  const std::vector<PossibleList> first = PossibleLists(ValueOf(settings, Setting::kAddress));
  const std::vector<PossibleList> second = PossibleLists(ValueOf(settings, Setting::kAddresses));
  std::vector<World> worlds;
  for (std::size_t i = 0; i < guards.size(); ++i) {
    for (std::size_t j = 0; j < switches.size(); ++j) {
      for (std::size_t k = 0; k < first.size(); ++k) {
        for (std::size_t l = 0; l < second.size(); ++l) {
          World world;
          world.guard = guards[i];
          world.bypass = switches[j].value_or(!first[k].empty || !second[l].empty);
          Add(first[k], world);
          Add(second[l], world);
          world.in_remote_session = settings.in_remote_session;
          world.guard_overridden =
              settings.in_remote_session && settings.machine_guard && !world.guard;
          world.choices = {i, j, k, l};
          worlds.push_back(world);
        }
      }
    }
  }
  return worlds;
}

std::optional<bool> ParseBypassSwitch(const std::string& word) {
  const std::string text = AsciiToLower(word);
  if (text == "1" || text == "true" || text == "yes") return true;
  if (text == "0" || text == "false" || text == "no") return false;
  return std::nullopt;
}

}  // namespace veltrane
