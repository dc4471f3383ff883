#pragma once

// The stage of a story: one process of the service on one machine.

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "service/ipc_server.h"
#include "tests/faults/account.h"
#include "tests/faults/failure_kinds.h"
#include "tests/simulated/machine.h"

namespace veltrane::faults {

// The machine is in an ordinary office, on which an operator has a host route of their own. One
// scene exists in a process, and lives to its end.
//
// Time runs freely, except for an auto-stop timer, which counts only when ExpireTimer lets it, and
// for the poll of a program that lasts, which comes when the story has told it to end.
class Scene {
 public:
  // The account is written to this file descriptor at the end.
  explicit Scene(int account_descriptor);

  simulated::Machine machine;

  // Settings, in the machine's stored environment or in the process's own: an administrator or two
  // who must be pinned, the guard, and any other.
  void SetAdministrator();
  void SetAdministrators();
  void SetGuard();
  void Set(const std::wstring& name, const std::wstring& value);
  void SetOfProcess(const std::wstring& name, const std::wstring& value);

  // Somebody who is there by Remote Desktop; and an administrator, whom a connect must pin too.
  void AddConnection(const std::string& address);
  void AddRemoteDesktop(const std::string& address);

  // Happens whenever a service begins to run.
  void OnTunnelStart(std::function<void(simulated::Machine&)> happen);

  // A tunnel is running that has loaded kConf.
  void LeaveTunnelRunning();

  // Another program opens the tunnel service, and closes it when the story has ended.
  void HoldTunnelService();

  // Hands the program a request and notes both texts: over its pipe when it serves there, else as
  // its pipe thread does.
  void Ask(const std::string& request);

  // Lets the timer expire and waits until it has done everything; nothing without a timer. The turn
  // is kTimerFirst or kTimerLast.
  void ExpireTimer(const char* turn);

  // Does this at the first call of that name in the story.
  void DuringStory(const std::string& call, std::function<void()> act);

  // Runs the program in a mode that ends by itself.
  void Run(const std::vector<std::wstring>& arguments);

  // Runs the program in a mode that lasts, and returns when it serves and polls, or has ended.
  void Start(const std::wstring& mode);

  // Tell it to end, and wait until it has; nothing when it has already ended. The system ends a
  // program that does not handle Ctrl+C.
  void StopService();
  void PressCtrlC();

  // The story begins, which leads there, with this call of it failing, and has come to its end.
  void BeginStory(const std::string& leads_to, const std::optional<Fault>& fault);
  [[noreturn]] void EndStory();

  // The process ends in this way, on the calling thread, and the story with it.
  [[noreturn]] void EndProcess(const char* ending);

 private:
  void Observe(const std::string& name, const std::string& text);
  void NoteRoute(const std::string& what, const std::string& route, bool done);
  void NoteLoaded();
  void Sleep(std::uint32_t milliseconds);
  std::string Answer(const std::string& request);
  std::string AnswerAsPipeThread(const std::string& request) noexcept;
  void WaitForStop(const std::function<void()>& tell);
  void WatchServersMutex() const;
  bool IsToStrike(const std::string& call) const { return fault_ && fault_->kind.call == call; }
  IpcServer* Server() const;  // null: there is none
  std::vector<std::string> WhatIsOpen();

  std::string Phase() const;
  void Describe();
  void Mend();
  void StartAnew();
  [[noreturn]] void Conclude();

  int account_descriptor_;
  Account account_;
  std::string loaded_;  // by the tunnel when it began to run: "for fra-1"
  std::optional<Fault> fault_;
  std::atomic<bool> acting_ = false;
  std::atomic<bool> notes_routes_ = true;

  std::mutex mutex_;  // guards what several threads note in the account
  std::map<std::string, std::size_t> counts_;

  std::unique_ptr<IpcServer> server_;  // of a story without a program
  std::atomic<bool> program_started_ = false;
  std::atomic<bool> program_ended_ = false;
  std::atomic<bool> program_polls_ = false;
  std::atomic<bool> program_may_poll_ = false;
  std::atomic<std::thread::id> program_main_;
  std::string first_behind_server_;  // the call before which the pipe thread comes to wait

  std::atomic<bool> timer_sleeps_ = false;
  std::atomic<bool> timer_may_count_ = false;
  std::atomic<bool> timer_has_expired_ = false;
};

}  // namespace veltrane::faults
