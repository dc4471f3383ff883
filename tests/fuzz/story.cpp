#include "tests/fuzz/story.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "bypass/records.h"
#include "ipc/dispatcher.h"
#include "service/startup_guard.h"
#include "tests/fuzz/require.h"

namespace veltrane {
namespace {

constexpr std::uint32_t kTimerStep = 100;  // milliseconds; nothing else sleeps so long

// The process-wide state of a process that has just started.
void ForgetEarlierProcess() {
  CurrentAdminBypassState() = {};
  SelectedBypassIps().clear();
  RequiredBypassIps().clear();
  CurrentPhysicalRoute() = {};
  AddedRouteList().clear();
  ResetStartupState();
}

bool IsKey(const std::string& text) {
  return text.size() == 44 && text.back() == '=' &&
         std::all_of(text.begin(), text.end() - 1, [](char c) {
           return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '+' || c == '/';
         });
}

}  // namespace

Story::Story(const Surroundings& surroundings)
    : surroundings_(surroundings),
      public_texts_(surroundings.admin_addresses + "\n" + surroundings.adapter_alias + "\n") {
  ForgetEarlierProcess();
  Arrange(machine_, surroundings_);
  machine_.clock.OnSleep([this](std::uint32_t milliseconds) {
    if (milliseconds == kTimerStep) HoldTimer();
  });
}

void Story::HoldTimer() const {
  while (!server_.auto_stop_cancel && !time_passes_) {
    std::this_thread::sleep_for(std::chrono::microseconds(20));
  }
}

bool Story::GuardIsInForce() const {
  return surroundings_.guard && !surroundings_.guard_overridden;
}

bool Story::TunnelRuns() const {
  const auto service = machine_.services.Find(L"VeltraneVpnTunnel$Active");
  return service && service->state == simulated::kRunning;
}

bool Story::EndsService(const std::string& request) const {
  return !naive::ReadProfile(request).has_value() && !naive::IsForbidden(request) &&
         naive::Field(request, "op") == "connect" &&
         (nonce_.empty() || naive::Field(request, "session_nonce") == nonce_);
}

bool Story::Send(const std::string& request) {
  std::string reply;
  try {
    reply = HandleRequest(server_, request);
  } catch (const std::logic_error&) {
    Require(EndsService(request), "only a port that is no number ends the service");
    return false;
  }
  Require(!EndsService(request), "a port that is no number ends the service");
  CheckReply(request, reply);
  const ConnectionPhase state = server_.Snapshot();
  RequireEqual(state.phase, phase_, "the phase");
  RequireEqual(state.node_id, node_id_, "the node");
  CheckMachine();
  CheckSecrets(request, reply);
  machine_.calls.Clear();
  return true;
}

void Story::LetTimePass() {
  if (!server_.auto_stop_thread.joinable()) return;
  time_passes_ = true;
  server_.auto_stop_thread.join();
  time_passes_ = false;
  phase_ = "disconnected";
  node_id_.clear();
  Require(server_.Snapshot().phase == "disconnected", "an expired timer disconnects");
  CheckMachine();
  machine_.calls.Clear();
}

// Routes of others stay, and nothing is left open.
void Story::CheckMachine() const {
  Require(machine_.routes.Has("0.0.0.0/0 via 192.168.1.1 if 12 metric 25") &&
              machine_.routes.Has("192.168.1.0/24 via 0.0.0.0 if 12 metric 281"),
          "the routes of the office stay");
  Require(
      !surroundings_.other_tunnel || machine_.routes.Has("0.0.0.0/0 via 10.9.0.1 if 20 metric 5"),
      "the route of another tunnel stays");
  Require(machine_.services.OpenHandles() == 0, "every service handle is closed");
  Require(machine_.files.OpenStreams() == 0, "every file is closed");
}

// Keys are in active.conf and nowhere else, and no longer than until the disconnect.
void Story::CheckSecrets(const std::string& request, const std::string& reply) {
  for (const char* name : {"client_private_key", "pre_shared_key"}) {
    const std::string key = naive::Field(request, name);
    if (IsKey(key)) keys_.push_back(key);
  }
  for (const char* name : {"node_id", "allowed_ips_csv"}) {
    public_texts_ += naive::Field(request, name) + "\n";
  }
  for (const std::string& key : keys_) {
    if (public_texts_.find(key) != std::string::npos) continue;
    Require(reply.find(key) == std::string::npos, "no key is in a reply: " + reply);
    for (const std::string& call : machine_.calls.All()) {
      Require(call.find(key) == std::string::npos, "no key is in a call or a log: " + call);
    }
  }
  CheckFiles();
}

void Story::CheckFiles() const {
  if (!NothingFails()) return;
  const bool is_needed = phase_ == "connected" || TunnelRuns();
  for (const std::wstring& path : machine_.files.AllFiles()) {
    if (path == kActiveConf && is_needed) continue;
    for (const std::string& key : keys_) {
      Require(machine_.files.Bytes(path)->find(key) == std::string::npos,
              "only active.conf holds keys, and only as long as it is needed");
    }
  }
}

}  // namespace veltrane
