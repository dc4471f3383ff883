#include "client/doctor/findings_screen.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "client/screens/forecast_texts.h"
#include "client/text/split.h"
#include "text/ascii.h"

namespace veltrane {
namespace {

constexpr std::size_t kMarkColumns = 6;

const char* MarkWord(Mark mark) {
  switch (mark) {
    case Mark::kOk:
      return "ok";
    case Mark::kNote:
      return "note";
    case Mark::kWarning:
      return "warn";
    case Mark::kFailure:
      return "FAIL";
    case Mark::kRisk:
      return "RISK";
  }
  return "";
}

std::string PaintedMark(Mark mark, const Painter& paint) {
  std::string word = Padded(MarkWord(mark), kMarkColumns);
  switch (mark) {
    case Mark::kOk:
      return paint(Colour::kGood, word);
    case Mark::kWarning:
      return paint(Colour::kWarning, word);
    case Mark::kFailure:
    case Mark::kRisk:
      return paint(Colour::kBad, word);
    case Mark::kNote:
      break;
  }
  return word;
}

std::string Counted(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

const char* VerdictWord(Verdict verdict) {
  switch (verdict) {
    case Verdict::kFine:
      return "fine";
    case Verdict::kWarnings:
      return "warnings";
    case Verdict::kFailures:
      return "refused";
    case Verdict::kRisks:
      break;
  }
  return "risk";
}

std::string VerdictText(const Findings& findings, const Painter& paint) {
  const std::string warnings = Counted(findings.Count(Mark::kWarning), "warning");
  switch (findings.Judge()) {
    case Verdict::kFine:
      return paint(Colour::kGood, "Connecting should work.") + "\n";
    case Verdict::kWarnings:
      return paint(Colour::kWarning, "Connecting should work, with " + warnings + ".") + "\n";
    case Verdict::kFailures:
    case Verdict::kRisks:
      break;
  }
  const std::string failures = Counted(findings.Count(Mark::kFailure), "failure");
  if (findings.Judge() == Verdict::kRisks) {
    return paint(Colour::kBad, "Connecting could cut somebody off: " +
                                   Counted(findings.Count(Mark::kRisk), "risk") + ", " + failures +
                                   ", " + warnings + ".") +
           "\n";
  }
  return paint(Colour::kBad, "Connecting would fail: " + failures + ", " + warnings + ".") + "\n";
}

std::size_t WidestCheck(const Findings& findings, const std::string& group) {
  std::size_t widest = 0;
  for (const Finding& finding : findings.All()) {
    if (finding.group == group) widest = std::max(widest, finding.check.size());
  }
  return widest;
}

}  // namespace

std::string FindingsScreen(const Findings& findings, const Painter& paint) {
  std::string screen;
  std::string group;
  std::size_t columns = 0;
  bool any_fix = false;
  for (const Finding& finding : findings.All()) {
    any_fix = any_fix || !finding.fix.empty();
    if (finding.group != group) {
      group = finding.group;
      columns = WidestCheck(findings, group) + 2;
      screen += paint(Colour::kHeading, group) + "\n";
    }
    screen += "  " + PaintedMark(finding.mark, paint) + Padded(finding.check, columns) +
              finding.text + "\n";
    if (!finding.fix.empty()) {
      const std::string indent(2 + kMarkColumns + columns, ' ');
      const char* label = "fix: ";
      for (const std::string_view command : Split(finding.fix, '\n')) {
        screen += indent + label + std::string(command) + "\n";
        label = "     ";
      }
    }
  }
  if (any_fix)
    screen += "\nRun the commands as administrator, in a command prompt or in PowerShell.\n";
  return screen + "\n" + VerdictText(findings, paint);
}

std::string ExaminationJson(const Examination& examination) {
  const Findings& findings = examination.findings;
  nlohmann::ordered_json json;
  json["verdict"] = VerdictWord(findings.Judge());
  json["risks"] = findings.Count(Mark::kRisk);
  json["failures"] = findings.Count(Mark::kFailure);
  json["warnings"] = findings.Count(Mark::kWarning);
  json["findings"] = nlohmann::ordered_json::array();
  for (const Finding& finding : findings.All()) {
    nlohmann::ordered_json item;
    item["group"] = finding.group;
    item["check"] = finding.check;
    item["mark"] = AsciiToLower(MarkWord(finding.mark));
    item["finding"] = finding.text;
    if (!finding.fix.empty()) item["fix"] = finding.fix;
    json["findings"].push_back(item);
  }
  json["forecast"] = ForecastJson(examination.forecast, examination.settings_assumed);
  return json.dump() + "\n";
}

}  // namespace veltrane
