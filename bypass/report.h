#pragma once

// The account of the bypass: the member "admin_bypass" of a reply, and the array texts that it is
// made of. Pure functions.

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

}  // namespace veltrane
