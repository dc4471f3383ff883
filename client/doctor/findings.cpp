#include "client/doctor/findings.h"

#include <algorithm>

#include "client/text/split.h"
#include "client/text/utf8.h"

namespace veltrane {

void Findings::Ok(const std::string& check, const std::string& text) {
  Add(Mark::kOk, check, text, "");
}

void Findings::Note(const std::string& check, const std::string& text) {
  Add(Mark::kNote, check, text, "");
}

void Findings::Warn(const std::string& check, const std::string& text, const std::string& fix) {
  Add(Mark::kWarning, check, text, fix);
}

void Findings::Fail(const std::string& check, const std::string& text, const std::string& fix) {
  Add(Mark::kFailure, check, text, fix);
}

void Findings::Risk(const std::string& check, const std::string& text, const std::string& fix) {
  Add(Mark::kRisk, check, text, fix);
}

void Findings::NoteWithFix(const std::string& check, const std::string& text,
                           const std::string& fix) {
  Add(Mark::kNote, check, text, fix);
}

void Findings::NoteDenied(const std::string& check, const std::string& what) {
  Note(check, what + " cannot be looked at by this user");
  denied_.push_back(Printable(what));
}

void Findings::Add(Mark mark, const std::string& check, const std::string& text,
                   const std::string& fix) {
  std::string commands;
  for (const std::string_view command : Split(fix, '\n')) {
    commands += (commands.empty() ? "" : "\n") + Printable(command);
  }
  all_.push_back({group_, Printable(check), mark, Printable(text), commands});
}

std::size_t Findings::Count(Mark mark) const {
  return static_cast<std::size_t>(std::count_if(
      all_.begin(), all_.end(), [mark](const Finding& finding) { return finding.mark == mark; }));
}

Verdict Findings::Judge() const {
  if (Count(Mark::kRisk) > 0) return Verdict::kRisks;
  if (Count(Mark::kFailure) > 0) return Verdict::kFailures;
  return Count(Mark::kWarning) > 0 ? Verdict::kWarnings : Verdict::kFine;
}

}  // namespace veltrane
