#include "client/forecast/table.h"

#include "tests/client/forecast/situations.h"

namespace veltrane {
namespace {

TableRow Row(const std::string& network, std::uint32_t interface_index, std::uint32_t metric = 25,
             const std::string& next_hop = "192.168.1.1") {
  TableRow row;
  row.network = Net(network);
  row.way = {interface_index, Ip(next_hop)};
  row.metric = metric;
  return row;
}

TableRow NewTunnel(const std::string& network) {
  TableRow row;
  row.network = Net(network);
  row.new_tunnel = true;
  return row;
}

// "0.0.0.0/0 by 12", "0.0.0.0/0 by the new tunnel" or "nothing"; with ", or another".
std::string Told(const LookUp& found) {
  if (!found.best) return "nothing";
  return NetworkText(found.best->network) + " by " +
         (found.best->new_tunnel ? "the new tunnel"
                                 : std::to_string(found.best->way.interface_index)) +
         (found.ways.size() > 1 ? ", or another" : "");
}

TEST(BestRow, IsTheOneWithTheLongestPrefixWhateverTheMetrics) {
  const std::vector<TableRow> rows = {Row("0.0.0.0/0", 12, 1), Row("203.0.113.0/24", 13, 900),
                                      Row("203.0.0.0/16", 14, 1)};
  EXPECT_EQ(Told(FindBestRow(rows, Ip("203.0.113.5"))), "203.0.113.0/24 by 13");
  EXPECT_EQ(Told(FindBestRow(rows, Ip("203.0.114.5"))), "203.0.0.0/16 by 14");
  EXPECT_EQ(Told(FindBestRow(rows, Ip("198.51.100.9"))), "0.0.0.0/0 by 12");
}

TEST(BestRow, IsTheOneWithTheLongestPrefixEvenBesideTheNewTunnel) {
  const std::vector<TableRow> rows = {NewTunnel("203.0.113.0/25"), Row("203.0.113.5/32", 12, 900)};
  EXPECT_EQ(Told(FindBestRow(rows, Ip("203.0.113.5"))), "203.0.113.5/32 by 12");
  EXPECT_EQ(Told(FindBestRow(rows, Ip("203.0.113.6"))), "203.0.113.0/25 by the new tunnel");
}

TEST(BestRow, IsTheNewTunnelsWhenThePrefixesAreEqual) {
  const TableRow pin = Row("203.0.113.5/32", 12, 0);
  const TableRow tunnel = NewTunnel("203.0.113.5/32");
  EXPECT_EQ(Told(FindBestRow({pin, tunnel}, Ip("203.0.113.5"))),
            "203.0.113.5/32 by the new tunnel");
  EXPECT_EQ(Told(FindBestRow({tunnel, pin}, Ip("203.0.113.5"))),
            "203.0.113.5/32 by the new tunnel");
}

TEST(BestRow, IsTheOneWithTheLowestMetricWhenThePrefixesAreEqual) {
  const TableRow low = Row("0.0.0.0/0", 12, 25);
  const TableRow high = Row("0.0.0.0/0", 13, 26);
  EXPECT_EQ(Told(FindBestRow({low, high}, Ip("203.0.113.5"))), "0.0.0.0/0 by 12");
  EXPECT_EQ(Told(FindBestRow({high, low}, Ip("203.0.113.5"))), "0.0.0.0/0 by 12");
}

TEST(BestRow, IsAGuessWhenAnotherThatLeadsElsewhereIsAsGood) {
  const TableRow row = Row("0.0.0.0/0", 12, 25, "192.168.1.1");
  const TableRow other_interface = Row("0.0.0.0/0", 13, 25, "192.168.1.1");
  const TableRow other_next_hop = Row("0.0.0.0/0", 12, 25, "192.168.1.2");
  EXPECT_EQ(Told(FindBestRow({row, other_interface}, Ip("203.0.113.5"))),
            "0.0.0.0/0 by 12, or another");
  EXPECT_EQ(Told(FindBestRow({row, other_next_hop}, Ip("203.0.113.5"))),
            "0.0.0.0/0 by 12, or another");
}

TEST(BestRow, IsNoGuessWhenTheSameRowIsThereTwice) {
  const TableRow row = Row("0.0.0.0/0", 12, 25);
  EXPECT_EQ(Told(FindBestRow({row, row}, Ip("203.0.113.5"))), "0.0.0.0/0 by 12");
}

TEST(BestRow, IsNoGuessWhenABetterOneFollowsThoseThatAreEqual) {
  const std::vector<TableRow> rows = {Row("0.0.0.0/0", 12, 25), Row("0.0.0.0/0", 13, 25),
                                      Row("0.0.0.0/0", 14, 24), Row("0.0.0.0/0", 15, 25)};
  EXPECT_EQ(Told(FindBestRow(rows, Ip("203.0.113.5"))), "0.0.0.0/0 by 14");
}

TEST(BestRow, OfOneInterfaceIsNeitherAnothersNorTheNewTunnels) {
  const std::vector<TableRow> rows = {NewTunnel("203.0.113.5/32"), Row("203.0.113.0/24", 12),
                                      Row("0.0.0.0/0", 13, 50)};
  EXPECT_EQ(Told(FindBestRow(rows, Ip("203.0.113.5"), 13)), "0.0.0.0/0 by 13");
  EXPECT_EQ(Told(FindBestRow(rows, Ip("203.0.113.5"), 14)), "nothing");
  // The row of the new tunnel has no interface yet.
  EXPECT_EQ(Told(FindBestRow(rows, Ip("203.0.113.5"), 0)), "nothing");
}

TEST(BestRow, IsMissingWithoutARowForTheAddress) {
  const std::vector<TableRow> rows = {Row("192.168.1.0/24", 12), NewTunnel("::/0")};
  EXPECT_EQ(Told(FindBestRow(rows, Ip("203.0.113.5"))), "nothing");
  EXPECT_EQ(Told(FindBestRow({}, Ip("203.0.113.5"))), "nothing");
}

TEST(BestRow, IsOfTheAddresssFamily) {
  const std::vector<TableRow> rows = {Row("0.0.0.0/0", 12), Row("::/0", 13, 25, "fe80::1")};
  EXPECT_EQ(Told(FindBestRow(rows, Ip("2001:db8::5"))), "::/0 by 13");
  EXPECT_EQ(Told(FindBestRow(rows, Ip("203.0.113.5"))), "0.0.0.0/0 by 12");
}

TEST(BestRow, HasTheWayOfEachThatIsAsGood) {
  const std::vector<TableRow> rows = {Row("0.0.0.0/0", 15, 26), Row("0.0.0.0/0", 12, 25),
                                      Row("0.0.0.0/0", 13, 25), Row("0.0.0.0/0", 12, 25),
                                      Row("192.0.2.0/24", 14, 1)};
  const LookUp found = FindBestRow(rows, Ip("203.0.113.5"));
  const Way first = {12, Ip("192.168.1.1")};
  const Way second = {13, Ip("192.168.1.1")};
  EXPECT_EQ(found.ways, (std::vector{first, second}));
  EXPECT_TRUE(LeadsBy(first, found));
  EXPECT_TRUE(LeadsBy(second, found));
  EXPECT_FALSE(LeadsBy({14, Ip("192.168.1.1")}, found));
  EXPECT_FALSE(LeadsBy({15, Ip("192.168.1.1")}, found));
  EXPECT_FALSE(LeadsBy({12, Ip("192.168.1.2")}, found));
  EXPECT_FALSE(LeadsBy(first, FindBestRow({}, Ip("203.0.113.5"))));
}

TEST(BroadcastOfLink, IsTheLastAddressOfANetworkOnTheLink) {
  const std::vector<TableRow> rows = {
      Row("0.0.0.0/0", 12, 25, "192.168.1.1"),  Row("198.51.100.0/24", 12, 25, "192.168.1.1"),
      Row("192.168.1.0/24", 12, 25, "0.0.0.0"), Row("192.168.2.4/30", 13, 25, "0.0.0.0"),
      Row("192.168.3.4/31", 13, 25, "0.0.0.0"), Row("192.168.4.5/32", 13, 25, "0.0.0.0"),
      Row("2001:db8::/64", 13, 25, "::")};
  EXPECT_TRUE(IsBroadcastOfLink(rows, Ip("192.168.1.255")));
  EXPECT_TRUE(IsBroadcastOfLink(rows, Ip("192.168.2.7")));
  for (const char* address :
       {"192.168.1.254", "192.168.1.127", "192.168.1.0", "192.168.2.255", "192.168.3.5",
        "192.168.4.5", "198.51.100.255", "203.0.113.255", "2001:db8::ffff:ffff:ffff:ffff"}) {
    EXPECT_FALSE(IsBroadcastOfLink(rows, Ip(address))) << address;
  }
  EXPECT_FALSE(IsBroadcastOfLink({}, Ip("192.168.1.255")));
}

TEST(RowsToday, AreTheRoutesOfTheFamily) {
  Situation situation;
  situation.ipv4_routes = {{RouteTo("203.0.113.0/24", "192.168.1.1", 12, 7)}};
  situation.ipv6_routes = {{RouteTo("2001:db8::/32", "", 13, 9)}};
  const auto ipv4 = RowsToday(situation, IpFamily::kIpv4);
  ASSERT_TRUE(ipv4);
  ASSERT_EQ(ipv4->size(), 1u);
  EXPECT_EQ(ipv4->front().network, Net("203.0.113.0/24"));
  EXPECT_EQ(ipv4->front().way, (Way{12, Ip("192.168.1.1")}));
  EXPECT_EQ(ipv4->front().metric, 7u);
  EXPECT_FALSE(ipv4->front().new_tunnel);
  EXPECT_FALSE(ipv4->front().pin);
  const auto ipv6 = RowsToday(situation, IpFamily::kIpv6);
  ASSERT_TRUE(ipv6);
  ASSERT_EQ(ipv6->size(), 1u);
  EXPECT_EQ(ipv6->front().network, Net("2001:db8::/32"));
  EXPECT_EQ(ipv6->front().way, (Way{13, Ip("::")}));
}

TEST(RowsToday, AreUnknownWhenTheTableOfTheFamilyWasNotRead) {
  Situation situation;
  situation.ipv4_routes.emplace();
  EXPECT_TRUE(RowsToday(situation, IpFamily::kIpv4));
  EXPECT_FALSE(RowsToday(situation, IpFamily::kIpv6));
  situation.ipv4_routes.reset();
  situation.ipv6_routes.emplace();
  EXPECT_FALSE(RowsToday(situation, IpFamily::kIpv4));
  EXPECT_TRUE(RowsToday(situation, IpFamily::kIpv6));
}

}  // namespace
}  // namespace veltrane
