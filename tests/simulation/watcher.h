#pragma once

// Watches the program at its boundary and puts together what the invariants judge. It knows the
// rules of the documents and nothing of the code: what the program has recorded follows from the
// calls that succeeded, what it was asked from the bytes that it read.

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/simulated/machine.h"
#include "tests/simulation/baton.h"
#include "tests/simulation/facts.h"
#include "tests/simulation/process.h"

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

  void OnBegin();  // of a process
  void OnGone();   // of a process
  void OnEvent();  // something on the machine has changed
  void OnStop();   // somebody stops the program
  void SetOddServices(bool odd) { odd_services_ = odd; }
  void SetOddFiles(bool odd) { odd_files_ = odd; }

  // Whether the process knows the machine's own addresses, which it reads once.
  bool KnowsOwnAddresses() const { return own_.has_value(); }
  bool IsServing() const { return exchange_.has_value(); }
  bool IsRunning() const { return !states_.empty() && states_.back() == 4; }  // as it has reported
  std::uint64_t Exchanges() const { return exchanges_; }

 private:
  struct Timer {
    std::int64_t sleeps = 0;
    std::int64_t delay = 0;          // 0: not known yet
    std::vector<std::string> calls;  // but the sleeps
  };

  bool TimerTearsDown() const;
  void NoticeRequest();
  std::string JudgeEndedTimers();
  void BeginExchange();
  void FinishWork();
  std::string FinishExchange();
  void NoteCall(const CallFacts& call);
  void NoteRouteCall(const CallFacts& call);
  void NoteStart();
  void NoteProcessCall(const CallFacts& call);
  void CompleteFacts(CallFacts& call);
  void LookAtAccess(const CallFacts& call);
  void NoteTimerCall(const Thread& thread, CallFacts& call);
  void ForgetRoutes();
  bool IsIdle() const;
  bool PreparesConnect() const;
  std::vector<std::string> FilesWithKeys();
  std::wstring Folder() const;
  bool HasTunnelDefaultRoute() const;
  TunnelFacts Tunnel() const;
  std::optional<std::string> Conf() const;
  void ReadPhase(std::string& phase, std::string& node) const;
  std::set<std::string> GoodHostRoutes() const;

  simulated::Machine& machine_;
  Baton& baton_;
  Process& process_;
  std::optional<ExchangeFacts> exchange_;
  bool awaits_request_ = false;
  std::size_t reads_ = 0;  // when the pipe thread began to read
  bool connect_has_begun_ = false;
  bool start_was_called_ = false;
  bool work_done_ = false;
  bool reply_lost_ = false;
  std::uint64_t exchanges_ = 0;
  std::map<std::uint64_t, Timer> timers_;
  std::map<Role, std::string> last_calls_;
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
  bool was_guarded_ = false;  // the passive phase, when the request was read
  bool stop_waits_ = false;
  std::uint64_t timer_at_stop_ = 0;
  bool is_stopped_ = false;  // or about to be
  bool undisturbed_ = false;
  std::vector<std::uint32_t> states_;
  std::map<Role, int> polls_;
  std::string existence_unknown_;  // to this thread
  bool odd_services_ = false;
  bool odd_files_ = false;
  bool files_changed_ = false;
};

}  // namespace veltrane::simulation
