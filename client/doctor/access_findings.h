#pragma once

// Findings about who could replace a file or folder that Local System trusts.

#include <string>
#include <vector>

#include "client/doctor/findings.h"

namespace veltrane {

inline constexpr char kLocalSystemSid[] = "S-1-5-18";
inline constexpr char kAdministratorsSid[] = "S-1-5-32-544";

// Who may only look, once access is closed.
enum class Readers { kNobody, kUsers };

// Returns the items with ", " between them.
std::string Joined(const std::vector<std::string>& items);

// Returns the command that closes a file or folder to all but Local System, Administrators and the
// readers. Granting access takes nothing away from anyone, so it names the others, by SID, too.
std::string ClosingCommand(const std::string& path, bool is_folder, Readers readers,
                           const std::vector<std::string>& others);

// Adds a finding about what is at this path: that it is not a reparse point, belongs to Local
// System, Administrators or the Windows installer, and that nobody else may write to it. Nothing
// for a path that does not exist. The account `administrator`, a SID, counts as Administrators do.
void CheckWriters(const std::string& check, const std::wstring& path, bool is_folder,
                  Readers readers, Findings& findings, const std::string& administrator = {});

}  // namespace veltrane
