#pragma once

// What the preflight found.

#include <string>
#include <vector>

namespace veltrane {

enum class Mark {
  kOk,
  kNote,     // neither good nor bad
  kWarning,  // connecting would work, but perhaps not as expected
  kFailure,  // connecting would fail
  kRisk,     // connecting could cut somebody off
};

struct Finding {
  std::string group;  // "service"
  std::string check;  // "running"
  Mark mark = Mark::kOk;
  std::string text;  // one line
  std::string fix;   // the commands that fix it, one a line, or empty
};

enum class Verdict { kFine, kWarnings, kFailures, kRisks };

// The findings in the order in which they were added. Their texts are made safe for a terminal.
class Findings {
 public:
  // Begins a group, to which everything added from now on belongs.
  void Begin(const std::string& group) { group_ = group; }

  void Ok(const std::string& check, const std::string& text);
  void Note(const std::string& check, const std::string& text);
  void Warn(const std::string& check, const std::string& text, const std::string& fix);
  void Fail(const std::string& check, const std::string& text, const std::string& fix);
  void Risk(const std::string& check, const std::string& text, const std::string& fix);
  void NoteWithFix(const std::string& check, const std::string& text, const std::string& fix);

  // Notes that a check could not be made because this user may not look, and remembers what it was
  // about.
  void NoteDenied(const std::string& check, const std::string& what);
  const std::vector<std::string>& Denied() const { return denied_; }

  const std::vector<Finding>& All() const { return all_; }
  std::size_t Count(Mark mark) const;

  // Depends on the worst mark.
  Verdict Judge() const;

 private:
  void Add(Mark mark, const std::string& check, const std::string& text, const std::string& fix);

  std::string group_;
  std::vector<Finding> all_;
  std::vector<std::string> denied_;
};

}  // namespace veltrane
