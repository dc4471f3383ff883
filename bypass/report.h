#pragma once

// The account of the bypass: the member "admin_bypass" of a reply, the array texts that it is made
// of, and the log line. The formatters are pure functions.

#include <string>
#include <vector>

#include "bypass/records.h"

namespace veltrane {

// ["a","b"]; [] for an empty list.
std::string FormatStringArray(const std::vector<std::string>& items);

// An array of objects with the members ip, source and required.
std::string FormatBypassEntries(const std::vector<BypassIpEntry>& entries);

// An array of objects with every member of HostRouteResult.
std::string FormatRouteAddDetails(const std::vector<HostRouteResult>& results);

// "admin_bypass":{...}; texts that are empty are left out.
std::string FormatAdminBypassReport(const AdminBypassState& state);

// Writes one line about the bypass to the debugger output and then to standard error:
// "[Veltrane][admin_bypass] enabled=1 applied=0 failure=<reason>".
void LogAdminBypass(const AdminBypassState& state);

// Makes a record the current one, logs it and returns it.
AdminBypassState StoreAndLogBypass(const AdminBypassState& state);

}  // namespace veltrane
