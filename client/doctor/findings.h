#pragma once

// What the preflight has found.

#include <string>
#include <vector>

namespace veltrane {

enum class Mark {
  kOk,
  kNote,     // neither good nor bad
  kWarning,  // a connect would work, but not as one may expect
  kFailure,  // a connect would be refused or could not be asked for
};

struct Finding {
  std::string group;  // "service"
  std::string check;  // "running"
  Mark mark = Mark::kOk;
  std::string text;  // one line
  std::string mend;  // the one command that mends it, or empty
};

enum class Verdict { kFine, kWarnings, kRefused };

// The findings in the order in which they were made. Texts are made fit for a screen here.
class Findings {
 public:
  // Begins a group; what is added from now on belongs to it.
  void Begin(const std::string& group) { group_ = group; }

  void Ok(const std::string& check, const std::string& text);
  void Note(const std::string& check, const std::string& text);
  void Warn(const std::string& check, const std::string& text, const std::string& mend);
  void Fail(const std::string& check, const std::string& text, const std::string& mend);

  const std::vector<Finding>& All() const { return all_; }
  std::size_t Count(Mark mark) const;

  // As the worst finding is marked.
  Verdict Judge() const;

 private:
  void Add(Mark mark, const std::string& check, const std::string& text, const std::string& mend);

  std::string group_;
  std::vector<Finding> all_;
};

}  // namespace veltrane
