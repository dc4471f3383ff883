#pragma once

// The fixture of tests of the tunnel's Windows service.

#include "tests/support/on_machine.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {

using Texts = std::vector<std::string>;

inline constexpr wchar_t kName[] = L"VeltraneVpnTunnel$Active";

inline simulated::Services& Services() { return simulated::Machine::Current().services; }

// Lets the next call of this name fail, or the one after it.
inline void Fail(const char* call, std::size_t nth = 1, std::uint32_t status = 5) {
  simulated::Machine::Current().Fail(call, nth, status);
}

inline void FailAlways(const char* call) { simulated::Machine::Current().FailAlways(call, 5); }

// Outside the passive phase, so that the calls are those of the service manager alone.
class OnManager : public OnMachine {
 protected:
  OnManager() { MarkConnectRequested(); }

  // No test leaves a handle open.
  void TearDown() override { EXPECT_EQ(machine.services.OpenHandles(), 0); }

  // What there is of the service: "nothing", "state 1", "state 4 marked" for deletion.
  std::string Left() {
    const std::optional<simulated::ServiceRecord> record = machine.services.Find(kName);
    if (!record) return "nothing";
    return "state " + std::to_string(record->state) + (record->marked_for_delete ? " marked" : "");
  }
};

}  // namespace veltrane
