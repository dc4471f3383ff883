// The two lookups in the forward table.

#include <gtest/gtest.h>

#include "bypass/host_routes.h"
#include "tests/bypass/on_bypass_machine.h"

namespace veltrane {
namespace {

// All questions are for 203.0.113.5, the exact ones for 192.168.1.1 on interface 12.
class FindingAHostRoute : public OnBypassMachine {
 protected:
  void Add(const char* gateway, std::uint32_t index, std::uint32_t row_metric) {
    machine.routes.Add("203.0.113.5/32", gateway, index, row_metric);
  }

  bool Find() { return FindHostRoute(dest, &next_hop, &interface_index, &metric); }
  bool FindExact() { return FindExactHostRoute(dest, Ip("192.168.1.1"), 12, &metric); }

  void ExpectFound(const char* gateway, std::uint32_t index, std::uint32_t row_metric) {
    EXPECT_EQ(next_hop, Ip(gateway));
    EXPECT_EQ(interface_index, index);
    EXPECT_EQ(metric, row_metric);
  }

  const std::uint32_t dest = Ip("203.0.113.5");
  std::uint32_t next_hop = 1;
  std::uint32_t interface_index = 2;
  std::uint32_t metric = 3;
};

TEST_F(FindingAHostRoute, GivesNextHopInterfaceAndFirstMetric) {
  ForwardRow row = simulated::MakeRoute("203.0.113.5/32", "192.168.1.2", 13, 20);
  row.metric2 = 21;
  machine.routes.Add(row);
  EXPECT_TRUE(Find());
  ExpectFound("192.168.1.2", 13, 20);
}

TEST_F(FindingAHostRoute, EveryOutParameterIsOptional) {
  Add("192.168.1.1", 12, 20);
  EXPECT_TRUE(FindHostRoute(dest, nullptr, nullptr, nullptr));
  EXPECT_TRUE(FindHostRoute(dest, &next_hop, nullptr, nullptr));
  EXPECT_TRUE(FindHostRoute(dest, nullptr, &interface_index, nullptr));
  EXPECT_TRUE(FindHostRoute(dest, nullptr, nullptr, &metric));
  ExpectFound("192.168.1.1", 12, 20);
  EXPECT_TRUE(FindExactHostRoute(dest, Ip("192.168.1.1"), 12, nullptr));
}

TEST_F(FindingAHostRoute, FindsNoneAmongOtherAddressesAndShorterMasks) {
  for (const char* destination :
       {"203.0.113.6/32", "203.0.113.5/31", "203.0.113.5/24", "203.0.113.5/0"}) {
    machine.routes.Add(destination, "192.168.1.1", 12, 1);
  }
  EXPECT_FALSE(Find());
  EXPECT_FALSE(FindExact());
}

TEST_F(FindingAHostRoute, FindsNoneInAnUnreadableOrEmptyTable) {
  Add("192.168.1.1", 12, 1);
  machine.Fail("ReadForwardTable", 1, 5);
  EXPECT_FALSE(Find());
  machine.Fail("ReadForwardTable", 1, 5);
  EXPECT_FALSE(FindExact());
  machine.routes.Clear();
  EXPECT_FALSE(Find());
  EXPECT_FALSE(FindExact());
}

TEST_F(FindingAHostRoute, TakesTheFirstRowOfTheTableAsItIsRead) {
  Add("192.168.1.9", 13, 1);
  Add("192.168.1.2", 14, 20);
  EXPECT_TRUE(Find());
  ExpectFound("192.168.1.2", 14, 20);
  machine.routes.KeepTableOrder();
  EXPECT_TRUE(Find());
  ExpectFound("192.168.1.9", 13, 1);
}

TEST_F(FindingAHostRoute, ReadsTheTableAnewEachTime) {
  EXPECT_FALSE(Find());
  Add("192.168.1.1", 12, 1);
  EXPECT_TRUE(Find());
  machine.routes.Remove("203.0.113.5/32");
  EXPECT_FALSE(FindExact());
  EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 3u);
}

TEST_F(FindingAHostRoute, ExactlyNeedsTheNextHopAndTheInterface) {
  Add("192.168.1.2", 12, 7);
  EXPECT_FALSE(FindExact());
  Add("192.168.1.1", 13, 8);
  EXPECT_FALSE(FindExact());
  Add("192.168.1.1", 12, 4294967295);
  EXPECT_TRUE(FindExact());
  EXPECT_EQ(metric, 4294967295u);
}

TEST_F(FindingAHostRoute, ExactlyStopsAtTheFirstMatchThoughALaterOneHasALowerMetric) {
  machine.routes.KeepTableOrder();
  Add("192.168.1.1", 12, 20);
  Add("192.168.1.1", 12, 1);
  EXPECT_TRUE(FindExact());
  EXPECT_EQ(metric, 20u);
}

}  // namespace
}  // namespace veltrane
