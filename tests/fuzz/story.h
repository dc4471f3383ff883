#pragma once

// A service on a simulated machine, the requests that it gets, and what must hold of every reply
// and of the machine afterwards. What is expected follows from the documents and from the naive
// reader alone.

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "service/ipc_server.h"
#include "tests/fuzz/naive_codec.h"
#include "tests/fuzz/reply_rules.h"
#include "tests/simulated/machine.h"

namespace veltrane {

inline constexpr wchar_t kActiveConf[] = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf";

// How the machine differs from an ordinary office on which nothing is configured.
struct Surroundings {
  bool administrator = false;     // ADMIN_BYPASS_IP has an address
  bool guard = false;             // the machine scope turns the guard on
  bool guard_overridden = false;  // the process scope turns it off
  bool remote_session = false;    // the service runs in a Remote Desktop session
  bool auto_stop = false;         // after five seconds
  bool remote_desktop = false;    // somebody is connected over Remote Desktop
  bool other_tunnel = false;      // another tunnel has a default route
  bool replaced_tunnel = false;   // a tunnel service is left over from an earlier process
  std::uint8_t failing_call = 0;  // 0: none fails
  std::string admin_addresses;    // ADMIN_BYPASS_IPS in the process scope, byte by byte
  std::string adapter_alias;      // of the physical adapter, byte by byte; empty: Ethernet
};

// Makes the machine such a one.
void Arrange(simulated::Machine& machine, const Surroundings& surroundings);

class Story {
 public:
  explicit Story(const Surroundings& surroundings);
  Story(const Story&) = delete;
  Story& operator=(const Story&) = delete;

  // Sends a request and checks everything. False when it ended the service.
  bool Send(const std::string& request);

  // Lets the auto-stop timer expire if one runs.
  void LetTimePass();

 private:
  // The timer of the service stays in its sleep until time passes or it is cancelled.
  void HoldTimer() const;

  void CheckReply(const std::string& request, const std::string& reply);
  void CheckStatus(const std::string& reply);
  void CheckDisconnect(const std::string& reply);
  void CheckConnect(const std::string& request, const std::string& reply);
  void CheckConnected(const naive::Profile& profile, const std::string& reply);
  void CheckRefused(const naive::Profile& profile, const std::string& reply);
  void CheckCandidates(const ReportMembers& bypass) const;
  std::string AdminAddresses() const;
  std::string ExpectedError(const naive::Profile& profile) const;
  void CheckGuardReport(const naive::Profile& profile, const ReportMembers& guard) const;
  void CheckMachine() const;
  void CheckFiles() const;
  void CheckSecrets(const std::string& request, const std::string& reply);
  bool EndsService(const std::string& request) const;  // by its port
  bool TunnelRuns() const;
  bool GuardIsInForce() const;
  bool NothingFails() const { return surroundings_.failing_call == 0; }

  const Surroundings surroundings_;
  simulated::Machine machine_;
  std::atomic<bool> time_passes_ = false;
  IpcServer server_;

  // What a client knows of the service.
  std::string nonce_;
  std::string phase_ = "disconnected";
  std::string node_id_;

  std::vector<std::string> keys_;  // private and preshared ones, sent so far
  std::string public_texts_;       // what replies may repeat: settings, and parts of requests
};

}  // namespace veltrane
