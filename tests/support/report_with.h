#pragma once

// The report that a test expects, told by what differs from a report that is spelled out.

#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace veltrane {

// A member of a report: its key, and its value as JSON.
struct ReportMember {
  std::string key;
  std::string value;
};

// The report with other values for these members, and with `more` after its last member. The values
// that are replaced must hold no comma and no brace.
inline std::string ReportWith(std::string report, const std::vector<ReportMember>& members,
                              const std::string& more = "") {
  for (const auto& [key, value] : members) {
    const std::string beginning = '"' + key + "\":";
    const std::size_t found = report.find(beginning);
    if (found == std::string::npos) {
      ADD_FAILURE() << "the report has no member " << key;
      continue;
    }
    const std::size_t begin = found + beginning.size();
    report.replace(begin, report.find_first_of(",}", begin) - begin, value);
  }
  return report.insert(report.size() - 1, more);
}

}  // namespace veltrane
