#pragma once

// The folder from which Local System runs the program.

#include <string>

namespace veltrane {

// Returns the SID of the user who installs, as text; empty when it cannot be read. Whoever may
// install for the whole machine is an administrator, and may own the folder.
std::string InstallingUser();

// Says who other than administrators could replace the program in this folder, the executable or a
// library in it, or the folder itself; where the folder does not exist, who could write to the one
// in which it would be made. For people and without a full stop; empty when nobody could.
std::string FindOtherWriters(const std::wstring& folder, const std::string& user);

}  // namespace veltrane
