#pragma once

// The settings that the service may have. The client cannot always know them: the process
// environment of the service comes first, and is as old as the service or as Windows. So the
// forecast is made for every world that is possible.

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace veltrane {

// The settings that decide who is pinned, in the order in which a finding names them.
enum class Setting { kGuard, kBypassSwitch, kAddress, kAddresses };

inline constexpr std::array<const char*, 4> kSettingNames = {"VELTRANE_POC_DISABLE_DEFAULT_ROUTE",
                                                             "VELTRANE_POC_ADMIN_BYPASS",
                                                             "ADMIN_BYPASS_IP", "ADMIN_BYPASS_IPS"};

// What is known about the value that counts for the service: the value (empty when there is none),
// or nothing, so that it may be any.
using KnownValue = std::optional<std::string>;

struct KnownSettings {
  std::array<KnownValue, kSettingNames.size()> values;

  // What only a service in console mode has: it may run in a Remote Desktop session, where a guard
  // of the machine scope that another scope overrides is an error.
  bool in_remote_session = false;
  bool machine_guard = false;  // the machine scope turns the guard on
};

// One combination of settings that is possible.
struct World {
  bool guard = false;              // the default-route guard is in force
  bool bypass = false;             // the bypass is enabled
  std::vector<std::string> named;  // the tokens of ADMIN_BYPASS_IP, then of ADMIN_BYPASS_IPS
  bool names_other = false;        // a list that is not known names somebody who can be pinned,
  bool names_subject = false;      // whoever is asked about,
  bool names_unpinnable = false;   // or somebody for whom no route can be created
  bool in_remote_session = false;
  bool guard_overridden = false;  // the error above: the connect is refused (poc_env_read_failed)

  // Which of the possible values each setting has in this world, counted from 0. Two worlds that
  // differ in one of these alone differ in that setting alone.
  std::array<std::size_t, kSettingNames.size()> choices{};
};

// Lists the worlds that are possible; never empty. A known value is read as the service reads it:
// the guard by ParseEnvBool, the switch by ParseBypassSwitch, the lists by SplitAddressList; a list
// that is not empty turns the bypass on unless the switch says otherwise. Otherwise, in this order,
//   - the guard is off or on;
//   - the switch is absent, on or off;
//   - a list is empty, or it names somebody else who can be pinned, the subject, or somebody who
//     cannot be pinned.
// Pure function.
std::vector<World> ListWorlds(const KnownSettings& settings);

// Whether this value of VELTRANE_POC_ADMIN_BYPASS turns the bypass on or off; nullopt for a value
// that the service ignores.
std::optional<bool> ParseBypassSwitch(const std::string& word);

}  // namespace veltrane
