#pragma once

// Showing the findings of the preflight.

#include <string>

#include "client/doctor/doctor.h"
#include "client/doctor/findings.h"
#include "client/screens/paint.h"

namespace veltrane {

// The findings as a screen that ends with the verdict.
std::string FindingsScreen(const Findings& findings, const Painter& paint);

// The findings and the forecast as one JSON object, described by docs/schema/doctor.schema.json.
std::string ExaminationJson(const Examination& examination);

}  // namespace veltrane
