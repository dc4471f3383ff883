#pragma once

#include <optional>
#include <set>
#include <string>

#include "tests/simulated/machine.h"
#include "tests/simulation/facts.h"

namespace veltrane::simulation {

// What the rules promise for a request, from the machine as it is now. `nonce` is the registered
// one, `counted` says whether a connect or a stop has ended the passive phase, `own` has the
// machine's own public addresses as the process knows them.
Promise PromiseFor(const simulated::Machine& machine, const std::string& request,
                   const std::string& nonce, bool counted, const std::set<std::string>& own);

// The value of a setting: of the process, else of the machine, else of the user.
std::string SettingOf(const simulated::Machine& machine, const std::wstring& name);

// Whether a switch is on; and, where a scope may have been unreadable and so counted as empty, in
// any of them.
bool MayBeOn(const simulated::Machine& machine, const std::wstring& name, bool unreadable);
std::string MachineSettingOf(const simulated::Machine& machine, const std::wstring& name);

// The machine's own public addresses.
std::set<std::string> OwnPublicAddresses(const simulated::Machine& machine);

// "192.168.1.1 if 12", the way to the probe address; nullopt when it has no gateway.
std::optional<std::string> PhysicalWay(const simulated::Machine& machine);

}  // namespace veltrane::simulation
