// The two lookups in the forward table.

#include <gtest/gtest.h>

#include "bypass/host_routes.h"
#include "tests/bypass/on_bypass_machine.h"

namespace veltrane {
namespace {

class FindingAHostRoute : public OnBypassMachine {
 protected:
  bool Find(const char* ip) { return FindHostRoute(Ip(ip), &next_hop, &interface_index, &metric); }

  bool FindExact(const char* ip, const char* gateway, std::uint32_t index) {
    return FindExactHostRoute(Ip(ip), Ip(gateway), index, &metric);
  }

  std::uint32_t next_hop = 1;
  std::uint32_t interface_index = 2;
  std::uint32_t metric = 3;
};

TEST_F(FindingAHostRoute, GivesNextHopInterfaceAndFirstMetric) {
  ForwardRow row = simulated::MakeRoute("203.0.113.5/32", "192.168.1.2", 13, 20);
  row.metric2 = 21;
  machine.routes.Add(row);
  EXPECT_TRUE(Find("203.0.113.5"));
  EXPECT_EQ(next_hop, Ip("192.168.1.2"));
  EXPECT_EQ(interface_index, 13u);
  EXPECT_EQ(metric, 20u);
}

TEST_F(FindingAHostRoute, EveryOutParameterIsOptional) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.2", 13, 20);
  EXPECT_TRUE(FindHostRoute(Ip("203.0.113.5"), nullptr, nullptr, nullptr));
  EXPECT_TRUE(FindHostRoute(Ip("203.0.113.5"), &next_hop, nullptr, nullptr));
  EXPECT_TRUE(FindHostRoute(Ip("203.0.113.5"), nullptr, &interface_index, nullptr));
  EXPECT_TRUE(FindHostRoute(Ip("203.0.113.5"), nullptr, nullptr, &metric));
  EXPECT_EQ(next_hop, Ip("192.168.1.2"));
  EXPECT_EQ(interface_index, 13u);
  EXPECT_EQ(metric, 20u);
}

TEST_F(FindingAHostRoute, FindsNoneAmongOtherAddresses) {
  machine.routes.Add("203.0.113.6/32", "192.168.1.2", 13, 20);
  EXPECT_FALSE(Find("203.0.113.5"));
}

TEST_F(FindingAHostRoute, IgnoresShorterMasks) {
  for (const char* destination : {"203.0.113.5/31", "203.0.113.5/24", "203.0.113.5/0"}) {
    machine.routes.Add(destination, "192.168.1.1", 12, 1);
  }
  EXPECT_FALSE(Find("203.0.113.5"));
  EXPECT_FALSE(FindExact("203.0.113.5", "192.168.1.1", 12));
}

TEST_F(FindingAHostRoute, TakesTheFirstRowOfTheTableAsItIsRead) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.9", 13, 1);
  machine.routes.Add("203.0.113.5/32", "192.168.1.2", 14, 20);
  EXPECT_TRUE(Find("203.0.113.5"));
  EXPECT_EQ(next_hop, Ip("192.168.1.2"));
  machine.routes.KeepTableOrder();
  EXPECT_TRUE(Find("203.0.113.5"));
  EXPECT_EQ(next_hop, Ip("192.168.1.9"));
}

TEST_F(FindingAHostRoute, ReadsTheTableAnewEachTime) {
  EXPECT_FALSE(Find("203.0.113.5"));
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  EXPECT_TRUE(Find("203.0.113.5"));
  machine.routes.Remove("203.0.113.5/32");
  EXPECT_FALSE(FindExact("203.0.113.5", "192.168.1.1", 12));
  EXPECT_EQ(machine.calls.Count("ReadForwardTable"), 3u);
}

TEST_F(FindingAHostRoute, FindsNoneInAnUnreadableTable) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  machine.Fail("ReadForwardTable", 1, 5);
  EXPECT_FALSE(Find("203.0.113.5"));
  machine.Fail("ReadForwardTable", 1, 5);
  EXPECT_FALSE(FindExact("203.0.113.5", "192.168.1.1", 12));
}

TEST_F(FindingAHostRoute, FindsNoneInAnEmptyTable) {
  machine.routes.Clear();
  EXPECT_FALSE(Find("203.0.113.5"));
  EXPECT_FALSE(FindExact("203.0.113.5", "192.168.1.1", 12));
}

TEST_F(FindingAHostRoute, ExactlyNeedsTheNextHop) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.2", 12, 1);
  EXPECT_FALSE(FindExact("203.0.113.5", "192.168.1.1", 12));
}

TEST_F(FindingAHostRoute, ExactlyNeedsTheInterface) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 13, 1);
  EXPECT_FALSE(FindExact("203.0.113.5", "192.168.1.1", 12));
}

TEST_F(FindingAHostRoute, ExactlyPassesOverTheOtherRoutesOfTheAddress) {
  machine.routes.KeepTableOrder();
  machine.routes.Add("203.0.113.5/32", "192.168.1.2", 12, 7);
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 13, 8);
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 9);
  EXPECT_TRUE(FindExact("203.0.113.5", "192.168.1.1", 12));
  EXPECT_EQ(metric, 9u);
}

TEST_F(FindingAHostRoute, ExactlyTakesAnyMetric) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 4294967295);
  EXPECT_TRUE(FindExact("203.0.113.5", "192.168.1.1", 12));
  EXPECT_EQ(metric, 4294967295u);
}

TEST_F(FindingAHostRoute, ExactlyStopsAtTheFirstMatchThoughALaterOneHasALowerMetric) {
  machine.routes.KeepTableOrder();
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 20);
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  EXPECT_TRUE(FindExact("203.0.113.5", "192.168.1.1", 12));
  EXPECT_EQ(metric, 20u);
}

TEST_F(FindingAHostRoute, ExactlyNeedsNoOutParameter) {
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  EXPECT_TRUE(FindExactHostRoute(Ip("203.0.113.5"), Ip("192.168.1.1"), 12, nullptr));
}

}  // namespace
}  // namespace veltrane
