#pragma once

// The folder from which Local System runs the program.

#include <string>

namespace veltrane {

// Returns the SID of the user of this process as text; empty when it cannot be read.
std::string OwnUser();

// Says who other than administrators could replace the program in this folder, the executable or a
// library in it, or the folder itself; where the folder does not exist, who could write to the one
// in which it would be made. For people and without a full stop; empty when nobody could.
//
// The user of this process counts as an administrator. In an action that runs from the script, that
// is Local System, and so the answer that counts. In one that runs as the user who installs, it
// may be a person, whose own programs could write there without the rights of an administrator.
std::string FindOtherWriters(const std::wstring& folder);

}  // namespace veltrane
