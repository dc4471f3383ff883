// The four route snapshots of a connect: when each is taken, and of which addresses.

#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bypass/records.h"
#include "tests/scenarios/scenario.h"

namespace veltrane {
namespace {

const std::string kDefaultsBefore =
    R"("default_routes_before_tunnel":"0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25",)";
const std::string kDefaultsAfter =
    R"("default_routes_after_tunnel":"0.0.0.0/0->192.168.1.1@if12:Ethernet:metric=25",)";

class ConnectSnapshots : public Scenario {
 protected:
  // With bypass and guard off nothing else reads the table.
  std::string ConnectWithUnreadableTableAt(std::size_t read) {
    machine.Fail("ReadForwardTable", read, 5);
    return Handle(kConnect);
  }

  static std::string ReplyWith(const std::string& snapshots) {
    return R"({"ok":true,"phase":"connected","node_id":"fra-1",)" + kBypassOff + "," + kGuardOff +
           "," + snapshots + R"(,"message":"disable-default-route not active"}})";
  }
};

TEST_F(ConnectSnapshots, DefaultRoutesBeforeTheTunnelAreTheFirstRead) {
  EXPECT_EQ(ConnectWithUnreadableTableAt(1),
            ReplyWith(R"("default_routes_before_tunnel":"unavailable",)" + kDefaultsAfter +
                      R"("rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"none")"));
}

TEST_F(ConnectSnapshots, HostRoutesBeforeTheTunnelAreTheSecondRead) {
  EXPECT_EQ(
      ConnectWithUnreadableTableAt(2),
      ReplyWith(kDefaultsBefore + kDefaultsAfter +
                R"("rdp_routes_before_tunnel":"unavailable","rdp_routes_after_tunnel":"none")"));
}

TEST_F(ConnectSnapshots, DefaultRoutesAfterTheStartAreTheThirdRead) {
  EXPECT_EQ(ConnectWithUnreadableTableAt(3),
            ReplyWith(kDefaultsBefore + R"("default_routes_after_tunnel":"unavailable",)"
                                        R"("rdp_routes_before_tunnel":"none",)"
                                        R"("rdp_routes_after_tunnel":"none")"));
}

TEST_F(ConnectSnapshots, HostRoutesAfterTheStartAreTheFourthRead) {
  EXPECT_EQ(
      ConnectWithUnreadableTableAt(4),
      ReplyWith(kDefaultsBefore + kDefaultsAfter +
                R"("rdp_routes_before_tunnel":"none","rdp_routes_after_tunnel":"unavailable")"));
}

TEST_F(ConnectSnapshots, TwoAreTakenBeforeTheFileIsWrittenAndTwoAfterTheStart) {
  std::vector<std::size_t> reads;
  for (const char* call : {"CreateFolders", "Service.Start"}) {
    machine.OnCall(call, 1, [&] { reads.push_back(machine.calls.Count("ReadForwardTable")); });
  }
  Handle(kConnect);
  EXPECT_EQ(reads, (std::vector<std::size_t>{2, 2}));
  EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 4U);
}

TEST_F(ConnectSnapshots, TheAddressesAreThoseThatWereSelectedBeforeTheTunnel) {
  SetAdministrator();
  machine.services.OnRunning([](const std::wstring&) { SelectedBypassIps().clear(); });
  const std::string reply = Handle(kConnect);
  EXPECT_NE(reply.find(R"("rdp_routes_before_tunnel":"203.0.113.5/32->192.168.1.1@if12",)"
                       R"("rdp_routes_after_tunnel":"203.0.113.5/32->192.168.1.1@if12",)"),
            std::string::npos)
      << reply;
}

}  // namespace
}  // namespace veltrane
