#pragma once

// Findings about who could replace a file or folder that Local System trusts.

#include <string>

#include "client/doctor/findings.h"

namespace veltrane {

// Who may only look, once access is closed.
enum class Readers { kNobody, kUsers };

// Adds a finding about what is at this path: that it is not a reparse point, belongs to Local
// System, Administrators or the Windows installer, and that nobody else may write to it. Nothing
// for a path that does not exist.
void CheckWriters(const std::string& check, const std::wstring& path, bool is_folder,
                  Readers readers, Findings& findings);

}  // namespace veltrane
