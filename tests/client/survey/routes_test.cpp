#include "client/survey/routes.h"

#include "tests/client/on_client_machine.h"

namespace veltrane {
namespace {

using simulated::Address;

class RoutesSurveyed : public OnClientMachine {
 protected:
  std::vector<std::uint32_t> MetricsOfIpv6() {
    std::vector<std::uint32_t> metrics;
    const std::vector<IpRoute> routes = SurveyIpv6Routes().value();
    for (const IpRoute& route : routes) metrics.push_back(route.metric);
    return metrics;
  }
};

TEST_F(RoutesSurveyed, AnIpv4AddressIsInNetworkByteOrder) {
  EXPECT_EQ(Ipv4Address(0x057100CB), Address("203.0.113.5"));
}

TEST_F(RoutesSurveyed, OfIpv4AreTheRowsOfTheForwardTable) {
  EXPECT_EQ(SurveyIpv4Routes(), (std::vector<IpRoute>{{.destination = Address("0.0.0.0"),
                                                       .prefix_length = 0,
                                                       .next_hop = Address("192.168.1.1"),
                                                       .interface_index = 12,
                                                       .metric = 25},
                                                      {.destination = Address("192.168.1.0"),
                                                       .prefix_length = 24,
                                                       .next_hop = Address("0.0.0.0"),
                                                       .interface_index = 12,
                                                       .metric = 281}}));
}

TEST_F(RoutesSurveyed, OfIpv4HavePrefixesOfAnyLength) {
  machine.routes.Clear();
  machine.routes.Add("128.0.0.0/1", "192.168.1.1", 12, 1);
  machine.routes.Add("172.16.0.0/12", "192.168.1.1", 12, 1);
  machine.routes.Add("198.51.100.128/25", "192.168.1.1", 12, 1);
  machine.routes.Add("203.0.113.5/32", "192.168.1.1", 12, 1);
  machine.routes.KeepTableOrder();
  std::vector<std::uint32_t> lengths;
  const std::vector<IpRoute> routes = SurveyIpv4Routes().value();
  for (const IpRoute& route : routes) lengths.push_back(route.prefix_length);
  EXPECT_EQ(lengths, (std::vector<std::uint32_t>{1, 12, 25, 32}));
}

// What a router's redirect has made goes after some minutes.
TEST_F(RoutesSurveyed, OfIpv4AreNeitherInvalidNorMadeByARedirect) {
  ForwardRow invalid = simulated::MakeRoute("203.0.113.5/32", "192.168.1.1", 12, 1);
  invalid.type = 2;
  ForwardRow redirected = simulated::MakeRoute("203.0.113.6/32", "192.168.1.9", 12, 1);
  redirected.proto = 4;
  const std::size_t before = SurveyIpv4Routes().value().size();
  machine.routes.Add(invalid);
  machine.routes.Add(redirected);
  EXPECT_EQ(SurveyIpv4Routes().value().size(), before);
  machine.routes.Add("203.0.113.7/32", "192.168.1.1", 12, 1);
  EXPECT_EQ(SurveyIpv4Routes().value().size(), before + 1);
}

TEST_F(RoutesSurveyed, OfIpv4AreUnreadableWhenTheTableIs) {
  machine.FailAlways("ReadForwardTable", 50);
  EXPECT_EQ(SurveyIpv4Routes(), std::nullopt);
}

TEST_F(RoutesSurveyed, OfIpv4AreUnreadableWithAMaskThatIsNotAPrefix) {
  ForwardRow row = simulated::MakeRoute("10.0.0.0/8", "192.168.1.1", 12, 1);
  row.mask = simulated::Ip("255.0.255.0");
  machine.routes.Add(row);
  EXPECT_EQ(SurveyIpv4Routes(), std::nullopt);
}

TEST_F(RoutesSurveyed, OfIpv6HaveTheMetricsOfTheirInterfaces) {
  side.ipv6_interface_metrics = {{12, 25}, {7, 5}};
  machine.routes.AddIpv6("::/0", "fe80::1", 12, 16);
  machine.routes.AddIpv6("2001:db8::/64", "::", 7, 256);
  EXPECT_EQ(SurveyIpv6Routes(), (std::vector<IpRoute>{{.destination = Address("::"),
                                                       .prefix_length = 0,
                                                       .next_hop = Address("fe80::1"),
                                                       .interface_index = 12,
                                                       .metric = 41},
                                                      {.destination = Address("2001:db8::"),
                                                       .prefix_length = 64,
                                                       .next_hop = Address("::"),
                                                       .interface_index = 7,
                                                       .metric = 261}}));
}

TEST_F(RoutesSurveyed, OfIpv6HaveAMetricThatDoesNotWrap) {
  side.ipv6_interface_metrics = {{12, 25}};
  machine.routes.AddIpv6("::/0", "fe80::1", 12, 0xFFFFFFFE);
  EXPECT_EQ(MetricsOfIpv6(), std::vector<std::uint32_t>{0xFFFFFFFF});
}

TEST_F(RoutesSurveyed, OfIpv6AreUnreadableWhenTheMetricOfAnInterfaceIs) {
  side.ipv6_interface_metrics = {{12, 25}};
  machine.routes.AddIpv6("::/0", "fe80::1", 12, 16);
  machine.routes.AddIpv6("2001:db8::/64", "::", 7, 256);
  EXPECT_EQ(SurveyIpv6Routes(), std::nullopt);
}

TEST_F(RoutesSurveyed, OfIpv6DoNotNeedTheMetricOfAnInterfaceThatNoneUses) {
  side.ipv6_interface_metrics = {{12, 25}};
  machine.routes.AddIpv6("::/0", "fe80::1", 12, 16);
  machine.routes.AddInterface(7, L"Ethernet 2");
  EXPECT_EQ(MetricsOfIpv6(), std::vector<std::uint32_t>{41});
}

TEST_F(RoutesSurveyed, OfIpv6MayBeNone) { EXPECT_EQ(SurveyIpv6Routes(), std::vector<IpRoute>()); }

TEST_F(RoutesSurveyed, OfIpv6AreUnreadableWhenTheTableIs) {
  machine.FailAlways("ReadIpv6Routes", 50);
  EXPECT_EQ(SurveyIpv6Routes(), std::nullopt);
}

using Gateway = RoutesSurveyed;

TEST_F(Gateway, IsTheWayToTheProbeAddress) {
  machine.routes.Add("8.8.8.8/32", "192.168.1.9", 7, 1);
  EXPECT_EQ(SurveyGateway(SurveyIpv4Routes()),
            (Way{.interface_index = 7, .next_hop = Address("192.168.1.9")}));
}

TEST_F(Gateway, IsAllZerosWhenThereIsNone) {
  machine.routes.Clear();
  EXPECT_EQ(SurveyGateway(SurveyIpv4Routes()),
            (Way{.interface_index = 0, .next_hop = Address("0.0.0.0")}));
}

TEST_F(Gateway, IsNotKnownWhenTheQuestionFailsAlthoughARouteLeadsThere) {
  const std::optional<std::vector<IpRoute>> routes = SurveyIpv4Routes();
  machine.FailAlways("FindBestRoute", 50);
  EXPECT_EQ(SurveyGateway(routes), std::nullopt);
}

TEST_F(Gateway, IsNotKnownWhenNeitherTheQuestionNorTheTableIsAnswered) {
  machine.FailAlways("FindBestRoute", 50);
  EXPECT_EQ(SurveyGateway(std::nullopt), std::nullopt);
}

class Interfaces : public OnClientMachine {
 protected:
  Interfaces() { situation.ipv4_routes = SurveyIpv4Routes(); }

  InterfaceFacts First() { return SurveyInterfaces(situation).at(0); }

  Situation situation;
};

TEST_F(Interfaces, AreThoseOfTheTablesAndOfTheOwnAddresses) {
  situation.ipv6_routes = {simulated::MakeIpv6Route("::/0", "fe80::1", 3, 1),
                           simulated::MakeIpv6Route("fe80::/64", "::", 12, 1)};
  situation.own_addresses = {{Address("127.0.0.1"), 1}, {Address("192.168.1.10"), 12}};
  std::vector<std::uint32_t> indexes;
  for (const InterfaceFacts& facts : SurveyInterfaces(situation)) indexes.push_back(facts.index);
  EXPECT_EQ(indexes, (std::vector<std::uint32_t>{1, 3, 12}));
}

TEST_F(Interfaces, AreNoneWhenNothingCouldBeRead) {
  EXPECT_TRUE(SurveyInterfaces(Situation()).empty());
}

TEST_F(Interfaces, AreDescribed) {
  side.interface_metrics[12] = 25;
  const InterfaceFacts facts = First();
  EXPECT_EQ(facts.index, 12u);
  EXPECT_EQ(facts.labelled_tunnel, false);
  EXPECT_EQ(facts.hardware, true);
  EXPECT_EQ(facts.ipv4_metric, 25u);
}

TEST_F(Interfaces, AreTunnelsByTheirLabels) {
  machine.routes.AddInterface(12, L"Office WireGuard");
  EXPECT_EQ(First().labelled_tunnel, true);
}

TEST_F(Interfaces, MayNotBeHardware) {
  machine.routes.SetHardware(12, false);
  EXPECT_EQ(First().hardware, false);
}

TEST_F(Interfaces, HaveAnUnknownLabelWhenTheirNamesCannotBeRead) {
  machine.FailAlways("ReadInterfaceNames", 5);
  EXPECT_EQ(First().labelled_tunnel, std::nullopt);
  EXPECT_EQ(First().hardware, true);
}

TEST_F(Interfaces, MayBeHardwareOrNotWhenThatCannotBeRead) {
  machine.FailAlways("IsHardwareInterface", 5);
  EXPECT_EQ(First().hardware, std::nullopt);
  EXPECT_EQ(First().labelled_tunnel, false);
}

TEST_F(Interfaces, HaveAnUnknownMetricWhenItCannotBeRead) {
  EXPECT_EQ(First().ipv4_metric, std::nullopt);
}

}  // namespace
}  // namespace veltrane
