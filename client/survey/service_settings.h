#pragma once

// What can be proved about the settings of the service, which its process environment decides
// first.

#include <cstdint>
#include <string>
#include <vector>

#include "client/forecast/worlds.h"

namespace veltrane {

// The value "Environment" of the service's own key.
struct ServiceEnvironment {
  std::uint32_t error = 0;           // 2: there is none; 0 or 2: it is known
  std::vector<std::string> entries;  // "NAME=value"

  bool IsKnown() const { return error == 0 || error == 2; }

  // The values of the entries of this name in any case, in order; an entry without a value has an
  // empty one.
  std::vector<std::string> ValuesOf(const std::string& name) const;

  // Whether an entry names it, with a value or with none.
  bool Names(const std::string& name) const { return !ValuesOf(name).empty(); }

  // The value of the last of them; empty when there is none.
  std::string ValueOf(const std::string& name) const;
};

// The key of the service under HKEY_LOCAL_MACHINE.
std::wstring ServiceKey();

// Reads it.
ServiceEnvironment ReadServiceEnvironment();

// Reads the settings of a service in console mode, which are assumed to be those of this process.
KnownSettings ReadOwnSettings();

// Reads the settings of the registered service. Its process environment is the machine's as it was
// when Windows started, overridden by the account's, overridden by the service's own value as it
// was when the service started; then the machine scope now counts, then the account's. A value is
// known only on proof:
//   - the service's own value, when its key can be read and has not been written since the
//   service's
//     process was started, or when the service has no process;
//   - else, when that value does not name the setting, the process environment has what the
//   machine's
//     and the account's stored environments have, when both keys can be read and neither has been
//     written since Windows started;
//   - the scopes after it when they can be read. A read that fails for every caller alike (87, 234,
//     1630, no such key or value) fails for the service too and is an empty value.
// A clock that is set can fool the times; a process that seems to have been started before Windows
// or in the future proves nothing.
KnownSettings ReadRegisteredSettings();

}  // namespace veltrane
