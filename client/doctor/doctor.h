#pragma once

#include <vector>

#include "client/doctor/findings.h"
#include "client/forecast/forecast.h"
#include "client/survey/survey.h"

namespace veltrane {

struct Examination {
  Findings findings;
  std::vector<Outlook> forecast;  // the worst first
  bool settings_assumed = false;  // those of the service are taken to be this process's
};

// The preflight: would connecting work now, and would the administrators stay connected? Changes
// nothing.
Examination Examine(const SurveyQuestion& question);

}  // namespace veltrane
