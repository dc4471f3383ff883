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
//   - the service's own value, when its key can be read and was last written before the service's
//     process was started, or when the service has no process. Two different values for a name, and
//     a value with a '%', prove nothing;
//   - else, when that value does not give the setting one, the process environment has what the
//     machine's and the account's stored environments have, when both keys can be read and were
//     last written before Windows started. Whether the account's is put in, and whether "NAME=" in
//     the service's own value hides what is stored, is not documented, so each must lead to one
//     result. A value that exists and cannot be read as a text proves nothing, although the service
//     cannot read it from the registry either;
//   - the scopes after it when they can be read. A read that fails for every caller alike (87, 234,
//     1630, no such key or value) fails for the service too and is an empty value. A value of type
//     REG_EXPAND_SZ is another for each reader and proves nothing.
// A clock that is set can fool the times; a process that seems to have been started before Windows
// or in the future proves nothing.
KnownSettings ReadRegisteredSettings();

}  // namespace veltrane
