#pragma once

// The bypass report: the member "admin_bypass" of a reply, and the JSON arrays in it. Pure
// functions.

#include <string>
#include <vector>

#include "bypass/records.h"

namespace veltrane {

// ["a","b"]; [] for an empty list.
std::string FormatStringArray(const std::vector<std::string>& items);

// A JSON array of objects with the members ip, source and required.
std::string FormatBypassEntries(const std::vector<BypassIpEntry>& entries);

// A JSON array of objects with every member of HostRouteResult.
std::string FormatRouteAddDetails(const std::vector<HostRouteResult>& results);

// "admin_bypass":{...}, without the members whose string is empty.
std::string FormatAdminBypassReport(const AdminBypassState& state);

}  // namespace veltrane
