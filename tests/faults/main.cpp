// Runs every story once, and then once for each way in which each of its boundary calls can fail.
//
//   faults [--write] [--tables FOLDER] [STORY...]
//
// Prints every surprise: a rule that a run has broken, and a line that is not in the story's table.
// With --write the tables are written anew instead of being compared. Run it in the project's
// folder; the tables are in tests/faults/expected.

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/faults/judges.h"
#include "tests/faults/outcome.h"
#include "tests/faults/run.h"
#include "tests/faults/table.h"

namespace veltrane::faults {
namespace {

struct Options {
  bool write = false;
  std::string tables = "tests/faults/expected";
  std::vector<std::string> stories;  // none: all
};

struct Result {
  std::size_t runs = 0;
  std::size_t surprises = 0;
  std::string text;  // what is to be printed
};

class StoryRuns {
 public:
  StoryRuns(const Story& story, const Options& options) : story_(story), options_(options) {}

  Result RunAll() {
    const Account usual = Run(story_, std::nullopt);
    lines_ = {"# " + story_.title, Line("without a failure", "", Outcome(usual))};
    Note(lines_.back(), usual, std::nullopt);
    for (const Call& call : usual.calls) {
      const std::vector<FailureKind> kinds = KindsOf(call.name);
      if (kinds.empty()) lines_.push_back(Line(CallText(call), "-", "cannot fail"));
      for (const FailureKind& kind : kinds) {
        const Fault fault{kind, call.nth};
        const Account account = Run(story_, fault);
        lines_.push_back(Line(CallText(call), std::string(kind.label), Outcome(account, usual)));
        Note(lines_.back(), account, fault);
      }
    }
    CompareOrWrite();
    result_.surprises += surprising_.size();
    return result_;
  }

 private:
  void Note(const std::string& line, const Account& account, const std::optional<Fault>& fault) {
    ++result_.runs;
    const Complaints complaints = Judge(account, fault);
    if (complaints.empty()) return;
    surprising_.insert(line);
    Print(story_.name + ": " + line);
    for (const std::string& complaint : complaints) Print("    " + complaint);
  }

  void Print(const std::string& line) { result_.text += line + "\n"; }

  // A run whose line the table does not have is a surprise, and so is a line without a run.
  void CompareOrWrite() {
    const std::string path = options_.tables + "/" + story_.name + ".txt";
    if (options_.write) return WriteLines(path, lines_);
    const std::vector<std::string> expected = ReadLines(path);
    const std::vector<std::string> differences = Differences(expected, lines_);
    if (!differences.empty()) Print(path + ": the table differs");
    for (const std::string& line : differences) {
      Print("    " + line);
      if (line.starts_with("+ ")) surprising_.insert(line.substr(2));
    }
    if (expected.size() > lines_.size()) result_.surprises += expected.size() - lines_.size();
  }

  const Story& story_;
  const Options& options_;
  Result result_;
  std::vector<std::string> lines_;
  std::set<std::string> surprising_;  // lines of runs
};

// Plays some stories at a time, each in a process of its own, which prints what it has found.
class Stage {
 public:
  explicit Stage(const Options& options) : options_(options) {
    if (pipe(results_) != 0) std::abort();
  }

  void Play(const Story& story) {
    if (playing_ == std::max(1U, std::thread::hardware_concurrency())) AwaitOne();
    ++playing_;
    if (fork() != 0) return;
    const Result result = StoryRuns(story, options_).RunAll();
    std::fputs(result.text.c_str(), stdout);
    std::fflush(stdout);
    const std::size_t counts[] = {result.runs, result.surprises};
    _exit(write(results_[1], counts, sizeof(counts)) == sizeof(counts) ? 0 : 1);
  }

  Result AwaitAll() {
    while (playing_ != 0) AwaitOne();
    return total_;
  }

 private:
  void AwaitOne() {
    int status = 0;
    std::size_t counts[2] = {0, 1};  // a story that crashes is a surprise
    if (wait(&status) > 0 && status == 0 && read(results_[0], counts, sizeof(counts)) <= 0) {
      std::abort();
    }
    --playing_;
    total_.runs += counts[0];
    total_.surprises += counts[1];
  }

  const Options& options_;
  int results_[2] = {};
  unsigned playing_ = 0;
  Result total_;
};

Options ParseOptions(const std::vector<std::string>& arguments) {
  Options options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (arguments[i] == "--write") {
      options.write = true;
    } else if (arguments[i] == "--tables" && i + 1 < arguments.size()) {
      options.tables = arguments[++i];
    } else {
      options.stories.push_back(arguments[i]);
    }
  }
  return options;
}

int RunFaults(const Options& options) {
  const std::vector<Story> stories = AllStories();
  Stage stage(options);
  std::size_t played = 0;
  for (const Story& story : stories) {
    const auto& chosen = options.stories;
    if (!chosen.empty() && std::find(chosen.begin(), chosen.end(), story.name) == chosen.end()) {
      continue;
    }
    ++played;
    stage.Play(story);
  }
  Result total = stage.AwaitAll();
  if (played < std::max<std::size_t>(1, options.stories.size())) {
    std::printf("there is no such story\n");
    ++total.surprises;
  }
  std::printf("faults: %zu runs, %zu surprises\n", total.runs, total.surprises);
  return total.surprises == 0 ? 0 : 1;
}

}  // namespace
}  // namespace veltrane::faults

int main(int argc, char** argv) {
  using namespace veltrane::faults;
  return RunFaults(ParseOptions({argv + 1, argv + argc}));
}
