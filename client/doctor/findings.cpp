#include "client/doctor/findings.h"

#include <algorithm>

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

void Findings::Add(Mark mark, const std::string& check, const std::string& text,
                   const std::string& fix) {
  all_.push_back({group_, Printable(check), mark, Printable(text), Printable(fix)});
}

std::size_t Findings::Count(Mark mark) const {
  return static_cast<std::size_t>(std::count_if(
      all_.begin(), all_.end(), [mark](const Finding& finding) { return finding.mark == mark; }));
}

Verdict Findings::Judge() const {
  if (Count(Mark::kFailure) > 0) return Verdict::kFailures;
  return Count(Mark::kWarning) > 0 ? Verdict::kWarnings : Verdict::kFine;
}

}  // namespace veltrane
