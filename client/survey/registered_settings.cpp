#include "client/survey/registered_settings.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <set>

#include "bypass/candidates.h"
#include "guard/settings.h"

namespace veltrane {
namespace {

// The errors that every reader of a value gets: it does not exist (2, 3), the call is refused (87),
// it does not fit (234) or is of another type (1630).
constexpr std::array<std::uint32_t, 5> kErrorsOfEveryReader = {2, 3, 87, 234, 1630};

// The values that a variable of the service's process may have; nullopt when it may have any.
using PossibleValues = std::optional<std::set<std::string>>;

const char* NameOf(Setting setting) { return kSettingNames[static_cast<std::size_t>(setting)]; }

// The length in UTF-16 code units, as Windows counts it.
std::size_t WideLength(const std::string& utf8) {
  std::size_t length = 0;
  for (const char c : utf8) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xC0) != 0x80) length += byte >= 0xF0 ? 2 : 1;
  }
  return length;
}

// The values of the service's own entries of this name; none when there is no such entry. What the
// control manager makes of a reference to another variable is not documented.
PossibleValues OwnValues(const ServiceEnvironment& own, const std::string& name) {
  const std::vector<std::string> values = own.ValuesOf(name);
  if (std::any_of(values.begin(), values.end(),
                  [](const std::string& value) { return value.find('%') != std::string::npos; })) {
    return std::nullopt;
  }
  return std::set<std::string>(values.begin(), values.end());
}

// The values that the control manager may have taken from the stored environments when Windows
// started: whether it takes the account's is not documented. How it reads a value that the service
// itself cannot read is not known either.
PossibleValues StoredValues(const StoredValue& machine, const StoredValue& account) {
  for (const StoredValue* value : {&machine, &account}) {
    if (value->expandable) return std::nullopt;
    if (value->error != 0 && value->error != kErrorFileNotFound) return std::nullopt;
  }
  std::set<std::string> values = {machine.error == 0 ? machine.text : ""};
  if (account.error == 0) values.insert(account.text);
  return values;
}

// Whether an own entry without a value hides a stored one is not documented: both may be.
PossibleValues ProcessValues(const RegisteredFacts& facts, Setting setting) {
  if (!facts.own_is_proved) return std::nullopt;
  const char* name = NameOf(setting);
  PossibleValues own = OwnValues(facts.own, name);
  if (!own || (!own->empty() && !own->contains(""))) return own;
  if (!facts.stored_is_proved) return std::nullopt;
  const auto index = static_cast<std::size_t>(setting);
  PossibleValues stored = StoredValues(facts.machine[index], facts.account[index]);
  if (stored) stored->merge(*own);
  return stored;
}

// What the service gets when it reads the value; empty when it gets none.
KnownValue AsTheServiceReadsIt(const StoredValue& value) {
  if (value.expandable) return std::nullopt;
  if (value.error == 0) return value.text;
  const bool for_everyone = std::find(kErrorsOfEveryReader.begin(), kErrorsOfEveryReader.end(),
                                      value.error) != kErrorsOfEveryReader.end();
  return for_everyone ? KnownValue("") : std::nullopt;
}

// What the service reads from the scopes after the process.
KnownValue LaterValue(const RegisteredFacts& facts, Setting setting) {
  if (setting == Setting::kBypassSwitch) return "";
  const auto index = static_cast<std::size_t>(setting);
  KnownValue machine = AsTheServiceReadsIt(facts.machine[index]);
  if (!machine || !machine->empty()) return machine;
  return AsTheServiceReadsIt(facts.account[index]);
}

KnownValue FindValue(const RegisteredFacts& facts, Setting setting) {
  const std::size_t capacity =
      setting == Setting::kBypassSwitch ? kSwitchCapacity : kProcessCapacity;
  const PossibleValues process = ProcessValues(facts, setting);
  if (!process) return std::nullopt;
  std::set<KnownValue> effective;
  for (const std::string& value : *process) {
    const bool counts = !value.empty() && WideLength(value) < capacity;
    effective.insert(counts ? value : LaterValue(facts, setting));
  }
  return effective.size() == 1 ? *effective.begin() : std::nullopt;
}

}  // namespace

KnownSettings FindRegisteredSettings(const RegisteredFacts& facts) {
  KnownSettings settings;
  for (std::size_t i = 0; i < settings.values.size(); ++i) {
    settings.values[i] = FindValue(facts, static_cast<Setting>(i));
  }
  return settings;
}

std::vector<std::string> ListValuesSeen(const RegisteredFacts& facts, Setting setting) {
  const auto index = static_cast<std::size_t>(setting);
  std::vector<std::string> values = facts.own.ValuesOf(NameOf(setting));
  values.push_back(facts.machine[index].text);
  values.push_back(facts.account[index].text);
  return values;
}

}  // namespace veltrane
