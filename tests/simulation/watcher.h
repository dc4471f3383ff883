#pragma once

// Watches the program at its boundary and puts together what the invariants judge. It knows the
// rules of the documents and nothing of the code: what the program has recorded follows from the
// calls that succeeded, what it was asked from the bytes that it read, what it must answer from
// what the machine showed it.

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/simulated/machine.h"
#include "tests/simulation/baton.h"
#include "tests/simulation/facts.h"
#include "tests/simulation/invariants.h"
#include "tests/simulation/phases.h"
#include "tests/simulation/process.h"
#include "tests/simulation/shown.h"

namespace veltrane::simulation {

class Watcher {
 public:
  Watcher(simulated::Machine& machine, Baton& baton, Process& process);

  // Each answers what is broken, or an empty text.
  std::string OnArrival(const Thread& thread, const std::string& name);  // before anybody else runs
  std::string OnCall(const Thread& thread, const std::string& name, const std::string& text,
                     std::optional<std::uint32_t> failed);
  std::string OnMoment();
  std::string OnEnd(const Process::End& end);
  std::string OnConversation(const ConversationFacts& facts) {
    return conversation_court_.Judge(facts);
  }

  void OnBegin();  // of a process
  void OnGone();   // of a process
  void OnEvent();  // something on the machine has changed
  void OnStop();   // somebody stops the program
  void SetOddServices(bool odd) { odd_services_ = odd; }
  void SetOddFiles(bool odd) { odd_files_ = odd; }
  void SetLibraryAnswers(int exit_code) { library_answers_ = exit_code; }

  // Whether the process knows the machine's own addresses, which it reads once.
  bool KnowsOwnAddresses() const { return own_.has_value(); }
  bool IsRunning() const { return !states_.empty() && states_.back() == 4; }  // as it has reported
  std::uint64_t Exchanges() const { return exchanges_; }

  // How often each rule had something to judge, and how often a process ended for each reason.
  Counts Asked() const;

 private:
  // watcher.cpp: requests, and the ends of processes.
  void NoticeRequest();
  void BeginExchange();
  void FinishWork();
  std::string FinishExchange();
  OpenThings Open() const;
  LastCall LastOf(const std::string& thread) const;

  // watcher_calls.cpp.
  static bool Closes(const std::string& name);
  void CompleteFacts(CallFacts& call);
  void NoteProcessCall(const CallFacts& call);
  void NoteCall(const CallFacts& call);
  void NoteStart();
  void NoteRouteCall(const CallFacts& call);
  void NoteCreatedRow(const CallFacts& call);
  void ForgetRoutes();

  // watcher_timers.cpp.
  void NoteTimer();
  void NoteTimerCall(const Thread& thread, CallFacts& call);
  bool TimerTearsDown() const;
  std::string JudgeEndedTimers();
  std::string JudgeEnded(TimerFacts& timer);

  // watcher_looks.cpp: what is seen of the machine and of the program.
  void LookAtAccess(const CallFacts& call);
  Look LookAtTable(const CallFacts& call) const;
  bool IsTunnel(std::uint32_t interface_index) const;
  bool IsIdle() const;
  bool PreparesConnect() const;
  std::vector<std::string> FilesWithKeys() const;
  std::wstring Folder() const;
  TunnelFacts Tunnel() const;
  std::optional<std::string> Conf() const;
  Phase ReadPhase() const;

  simulated::Machine& machine_;
  Baton& baton_;
  Process& process_;
  Court<CallFacts> call_court_{CallInvariants()};
  Court<MomentFacts> moment_court_{MomentInvariants()};
  Court<ExchangeFacts> exchange_court_{ExchangeInvariants()};
  Court<TimerFacts> timer_court_{TimerInvariants()};
  Court<ConversationFacts> conversation_court_{ConversationInvariants()};
  Court<EndFacts> end_court_{EndInvariants()};
  std::map<std::string, std::uint64_t> reasons_;  // for which processes ended
  std::optional<ExchangeFacts> exchange_;
  Shown shown_;
  PossiblePhases phases_;
  bool awaits_request_ = false;
  std::size_t reads_ = 0;  // when the pipe thread began to read
  bool connect_has_begun_ = false;
  bool start_was_called_ = false;
  bool work_done_ = false;
  bool reply_lost_ = false;
  std::uint64_t exchanges_ = 0;
  std::map<std::uint64_t, TimerFacts> timers_;
  std::map<Role, LastCall> last_calls_;  // but those that close something
  std::vector<CallFacts> main_calls_;    // where nothing is served
  // The routes that the program has recorded. Where a timer tears down beside a connect, both use
  // the record without a lock, as docs/architecture.md says: then a route may be deleted that has
  // just been forgotten or deleted, and one may be forgotten that has just been created.
  std::vector<std::string> recorded_;
  std::vector<std::string> certain_;  // of those, the ones that must be deleted
  std::vector<std::string> late_;
  std::optional<std::string> gateway_;
  std::optional<std::set<std::string>> own_;
  std::string nonce_;
  bool counted_ = false;
  std::uint64_t timer_at_stop_ = 0;
  bool is_stopped_ = false;  // or about to be
  bool cannot_wake_ = false;
  bool undisturbed_ = false;
  std::vector<std::uint32_t> states_;
  std::map<Role, int> polls_;
  bool odd_services_ = false;
  bool odd_files_ = false;
  bool files_changed_ = false;
  int library_answers_ = 0;
};

}  // namespace veltrane::simulation
