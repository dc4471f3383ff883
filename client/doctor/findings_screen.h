#pragma once

// How the findings of the preflight are shown.

#include <string>

#include "client/doctor/findings.h"
#include "client/screens/paint.h"

namespace veltrane {

// The findings as a screen, the verdict at its end.
std::string FindingsScreen(const Findings& findings, const Painter& paint);

// The findings as one JSON object, described by docs/schema/doctor.schema.json.
std::string FindingsJson(const Findings& findings);

}  // namespace veltrane
