#include "client/doctor/findings.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "client/text/utf8.h"

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
      return paint(Colour::kBad, word);
    case Mark::kNote:
      break;
  }
  return word;
}

std::string Counted(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

const char* VerdictWord(ExitCode verdict) {
  if (verdict == kExitDone) return "fine";
  return verdict == kExitRefused ? "warnings" : "refused";
}

std::string VerdictText(const Findings& findings, const Painter& paint) {
  const std::string warnings = Counted(findings.Count(Mark::kWarning), "warning");
  switch (findings.Verdict()) {
    case kExitDone:
      return paint(Colour::kGood, "A connect should work.") + "\n";
    case kExitRefused:
      return paint(Colour::kWarning, "A connect should work: " + warnings + ".") + "\n";
    default:
      return paint(Colour::kBad, "A connect would be refused: " +
                                     Counted(findings.Count(Mark::kFailure), "failure") + ", " +
                                     warnings + ".") +
             "\n";
  }
}

std::size_t WidestCheck(const Findings& findings, const std::string& group) {
  std::size_t widest = 0;
  for (const Finding& finding : findings.All()) {
    if (finding.group == group) widest = std::max(widest, finding.check.size());
  }
  return widest;
}

}  // namespace

void Findings::Ok(const std::string& check, const std::string& text) {
  Add(Mark::kOk, check, text, "");
}

void Findings::Note(const std::string& check, const std::string& text) {
  Add(Mark::kNote, check, text, "");
}

void Findings::Warn(const std::string& check, const std::string& text, const std::string& mend) {
  Add(Mark::kWarning, check, text, mend);
}

void Findings::Fail(const std::string& check, const std::string& text, const std::string& mend) {
  Add(Mark::kFailure, check, text, mend);
}

void Findings::Add(Mark mark, const std::string& check, const std::string& text,
                   const std::string& mend) {
  all_.push_back({group_, Printable(check), mark, Printable(text), Printable(mend)});
}

std::size_t Findings::Count(Mark mark) const {
  return static_cast<std::size_t>(std::count_if(
      all_.begin(), all_.end(), [mark](const Finding& finding) { return finding.mark == mark; }));
}

ExitCode Findings::Verdict() const {
  if (Count(Mark::kFailure) > 0) return kExitUsage;
  return Count(Mark::kWarning) > 0 ? kExitRefused : kExitDone;
}

std::string FindingsScreen(const Findings& findings, const Painter& paint) {
  std::string screen;
  std::string group;
  std::size_t columns = 0;
  bool mends = false;
  for (const Finding& finding : findings.All()) {
    mends = mends || !finding.mend.empty();
    if (finding.group != group) {
      group = finding.group;
      columns = WidestCheck(findings, group) + 2;
      screen += paint(Colour::kHeading, group) + "\n";
    }
    screen += "  " + PaintedMark(finding.mark, paint) + Padded(finding.check, columns) +
              finding.text + "\n";
    if (!finding.mend.empty()) {
      screen += std::string(2 + kMarkColumns + columns, ' ') + "mend: " + finding.mend + "\n";
    }
  }
  if (mends) screen += "\nCommands are for a command prompt (cmd) run as administrator.\n";
  return screen + "\n" + VerdictText(findings, paint);
}

std::string FindingsJson(const Findings& findings) {
  nlohmann::ordered_json json;
  json["verdict"] = VerdictWord(findings.Verdict());
  json["failures"] = findings.Count(Mark::kFailure);
  json["warnings"] = findings.Count(Mark::kWarning);
  json["findings"] = nlohmann::ordered_json::array();
  for (const Finding& finding : findings.All()) {
    nlohmann::ordered_json item;
    item["group"] = finding.group;
    item["check"] = finding.check;
    item["mark"] = finding.mark == Mark::kFailure ? "fail" : MarkWord(finding.mark);
    item["finding"] = finding.text;
    if (!finding.mend.empty()) item["mend"] = finding.mend;
    json["findings"].push_back(item);
  }
  return json.dump() + "\n";
}

}  // namespace veltrane
