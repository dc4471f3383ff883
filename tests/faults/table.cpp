#include "tests/faults/table.h"

#include <algorithm>
#include <fstream>
#include <set>

namespace veltrane::faults {
namespace {

constexpr std::size_t kFailureColumn = 64;
constexpr std::size_t kOutcomeColumn = 78;
constexpr std::size_t kLongestDetails = 60;

// Ends the text with blanks up to this column, at least two.
std::string Padded(std::string text, std::size_t column) {
  text.append(std::max(column, text.size() + 2) - text.size(), ' ');
  return text;
}

// The folder of the configuration, further lines and the end of a long text are left out.
std::string Short(std::string details) {
  const std::string folder = R"(C:\ProgramData\Veltrane\tunnels)";
  for (std::size_t at = details.find(folder); at != std::string::npos; at = details.find(folder)) {
    details.replace(at, folder.size(), "...");
  }
  const std::size_t longest = std::min(details.find('\n'), kLongestDetails);
  if (details.size() > longest) details = details.substr(0, longest) + "...";
  return details;
}

std::vector<std::string> Missing(const std::vector<std::string>& here,
                                 const std::vector<std::string>& there, const char* mark) {
  std::multiset<std::string> others(there.begin(), there.end());
  std::vector<std::string> missing;
  for (const std::string& line : here) {
    if (const auto other = others.find(line); other != others.end()) {
      others.erase(other);
    } else {
      missing.push_back(mark + line);
    }
  }
  return missing;
}

}  // namespace

std::string Line(const std::string& call, const std::string& failure, const std::string& outcome) {
  return Padded(Padded(call, kFailureColumn) + failure, kOutcomeColumn) + outcome;
}

std::string CallText(const Call& call) {
  const std::string details = call.details.empty() ? "" : " " + Short(call.details);
  return call.name + " " + std::to_string(call.nth) + details;
}

std::vector<std::string> Differences(const std::vector<std::string>& expected,
                                     const std::vector<std::string>& actual) {
  std::vector<std::string> differences = Missing(expected, actual, "- ");
  const std::vector<std::string> added = Missing(actual, expected, "+ ");
  differences.insert(differences.end(), added.begin(), added.end());
  return differences;
}

std::vector<std::string> ReadLines(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

void WriteLines(const std::string& path, const std::vector<std::string>& lines) {
  std::ofstream file(path);
  for (const std::string& line : lines) file << line << '\n';
}

}  // namespace veltrane::faults
