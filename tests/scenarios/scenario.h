#pragma once

// The fixture of the scenarios.

#include <chrono>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scenarios/connection.h"
#include "tests/scenarios/reply_passages.h"
#include "tests/support/on_server.h"

namespace veltrane {

// A machine in an ordinary office, on which nothing is configured, and a service that has just
// started there.
class Scenario : public OnServer {
 protected:
  Scenario() { machine.routes.AddPhysicalNetwork(); }

  // A timer that a test has left asleep wakes up and gives up, so that the server can join it.
  ~Scenario() override {
    server.auto_stop_cancel = true;
    machine.clock.RunFreely();
  }

  // One required administrator address, which switches the bypass on.
  void SetAdministrator() { machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5"); }
  void SetGuard() { machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1"); }
  void SetAutoStop(const std::wstring& seconds) {
    machine.environment.SetMachine(L"VELTRANE_POC_AUTO_STOP_SECONDS", seconds);
  }

  // What was done to the machine and what was logged to standard error, in order.
  Texts Story() const {
    const Texts changes = machine.Changes();
    const std::set<std::string> told(changes.begin(), changes.end());
    Texts story;
    for (const std::string& call : machine.calls.All()) {
      if (told.contains(call) || call.starts_with("PrintError")) story.push_back(call);
    }
    return story;
  }

  // Forgets what was done and logged so far.
  void StartStory() {
    machine.calls.Clear();
    machine.console.Clear();
  }

  // The phase and the node, and behind them what the machine holds beside the office, each with
  // "; " before it: routes ("no ..." for one of the office that is gone), services with their
  // states, files ("active.conf for fra-1", "active.conf of zeros"), what is still open.
  std::string State() { return PhaseAndNode() + Left(); }
  std::string Left() const {
    Texts left;
    for (const std::string& route : {kDefaultRoute, kLocalRoute}) {
      if (!machine.routes.Has(route)) left.push_back("no " + route);
    }
    for (const std::string& route : machine.routes.Texts()) {
      if (route != kDefaultRoute && route != kLocalRoute) left.push_back(route);
    }
    for (const std::wstring& name : machine.services.Names()) left.push_back(ServiceText(name));
    for (const std::wstring& path : machine.files.AllFiles()) left.push_back(FileText(path));
    if (machine.services.OpenHandles() != 0) left.emplace_back("open service handles");
    if (machine.files.OpenStreams() != 0) left.emplace_back("open files");
    std::string joined;
    for (const std::string& text : left) joined += "; " + text;
    return joined;
  }

  // From now on, notes the phase and the node at each of these calls.
  void NotePhasesAt(const Texts& calls) {
    for (const std::string& call : calls) {
      machine.calls.OnEveryCall(call, [this] { phases.push_back(PhaseAndNode()); });
    }
  }

  // Waits for a state that another thread brings about; ends the test process when it does not.
  template <typename Condition>
  static void Await(const std::string& what, Condition holds) {
    const auto deadline = std::chrono::steady_clock::now() + simulated::kPatience;
    while (!holds()) {
      if (std::chrono::steady_clock::now() > deadline)
        simulated::Die("gave up waiting for " + what);
      std::this_thread::yield();
    }
  }

  Texts phases;

 private:
  std::string ServiceText(const std::wstring& name) const {
    static const Texts kStates = {"?", "stopped", "starting", "stopping", "running"};
    const auto service = machine.services.Find(name);
    return std::string(name.begin(), name.end()) + " " + kStates.at(service->state) +
           (service->marked_for_delete ? ", marked for deletion" : "");
  }

  std::string FileText(const std::wstring& path) const {
    const std::string bytes = *machine.files.Bytes(path);
    const std::wstring file = path.substr(path.rfind(L'\\') + 1);
    return std::string(file.begin(), file.end()) + (bytes == kConf            ? " for fra-1"
                                                    : bytes == kConfElsewhere ? " for ams-2"
                                                    : bytes == kScrubbed      ? " of zeros"
                                                                              : ": " + bytes);
  }
};

}  // namespace veltrane
