#include "guard/route_snapshots.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using simulated::Units;

class InterfaceLabel : public OnMachine {};

TEST_F(InterfaceLabel, IsTheAlias) {
  machine.routes.AddInterface(12, L"Ethernet", L"Intel(R) Ethernet Connection");
  EXPECT_EQ(DescribeInterface(12), "Ethernet");
}

TEST_F(InterfaceLabel, IsTheDescriptionWhenTheAliasIsEmpty) {
  machine.routes.AddInterface(12, L"", L"Wintun Userspace Tunnel");
  EXPECT_EQ(DescribeInterface(12), "Wintun Userspace Tunnel");
}

TEST_F(InterfaceLabel, IsTheDescriptionWhenTheAliasCannotBeConverted) {
  machine.routes.AddInterface(12, L"Ethernet", L"Intel(R) Ethernet Connection");
  machine.Fail("WideToUtf8", 1, 87);
  EXPECT_EQ(DescribeInterface(12), "Intel(R) Ethernet Connection");
}

TEST_F(InterfaceLabel, IsABlankAliasRatherThanTheDescription) {
  machine.routes.AddInterface(12, L" ", L"Wintun Userspace Tunnel");
  EXPECT_EQ(DescribeInterface(12), " ");
}

TEST_F(InterfaceLabel, IsEmptyWhenBothNamesAre) {
  machine.routes.AddInterface(12, L"", L"");
  EXPECT_EQ(DescribeInterface(12), "");
}

TEST_F(InterfaceLabel, IsIfAndTheIndexWhenTheLookupFails) {
  EXPECT_EQ(DescribeInterface(17), "if17");
  machine.routes.AddInterface(12, L"Ethernet");
  machine.Fail("ReadInterfaceNames", 1, 1168);
  EXPECT_EQ(DescribeInterface(12), "if12");
}

TEST_F(InterfaceLabel, HoldsTheIndexUnsigned) {
  EXPECT_EQ(DescribeInterface(4294967295u), "if4294967295");
  EXPECT_EQ(DescribeInterface(0), "if0");
}

TEST_F(InterfaceLabel, IsConvertedToUtf8) {
  machine.routes.AddInterface(12, Units(u"B\u00FCro \u20AC \U0001F600"));
  EXPECT_EQ(DescribeInterface(12), "B\xC3\xBCro \xE2\x82\xAC \xF0\x9F\x98\x80");
}

struct Names {
  const char* name;
  const wchar_t* alias;
  const wchar_t* description;
};

void PrintTo(const Names& names, std::ostream* out) { *out << names.name; }

std::string NameOf(const testing::TestParamInfo<Names>& info) { return info.param.name; }

class TunnelInterface : public OnMachine, public testing::WithParamInterface<Names> {};
class OtherInterface : public OnMachine, public testing::WithParamInterface<Names> {};

TEST_P(TunnelInterface, IsRecognised) {
  machine.routes.AddInterface(21, GetParam().alias, GetParam().description);
  EXPECT_TRUE(IsTunnelInterface(21));
}

TEST_P(OtherInterface, IsNoTunnel) {
  machine.routes.AddInterface(21, GetParam().alias, GetParam().description);
  EXPECT_FALSE(IsTunnelInterface(21));
}

INSTANTIATE_TEST_SUITE_P(
    Named, TunnelInterface,
    testing::Values(Names{"WireGuardInMixedCase", L"Veltrane WireGuard", L""},
                    Names{"WireguardAlone", L"wireguard", L""},
                    Names{"WireguardInCapitals", L"WIREGUARD 2", L""},
                    Names{"WintunInsideAWord", L"myWintunAdapter", L""},
                    Names{"WintunInCapitals", L"WINTUN", L""},
                    Names{"TunnelAtTheEnd", L"veltrane-tunnel", L""},
                    Names{"TunnelAsPartOfAWord", L"Teredo Tunneling Pseudo-Interface", L""},
                    Names{"TunnelInCapitals", L"TUNNEL", L""},
                    Names{"TunnelAfterOtherLetters", L"\u00DCbersee Tunnel", L""},
                    Names{"TunnelAliasWithAPlainDescription", L"Tunnel", L"Intel(R) Ethernet"},
                    Names{"DescriptionBehindAnEmptyAlias", L"", L"Wintun Userspace Tunnel"}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    Named, OtherInterface,
    testing::Values(Names{"Ethernet", L"Ethernet", L"Intel(R) Ethernet Connection"},
                    Names{"DescriptionBehindAnAlias", L"vpn0", L"Wintun Userspace Tunnel"},
                    Names{"DescriptionBehindABlankAlias", L" ", L"Wintun Userspace Tunnel"},
                    Names{"BothNamesEmpty", L"", L""}, Names{"WordCutShort", L"wiregua", L""},
                    Names{"EndingCutOff", L"wintu tunne wireguar", L""},
                    Names{"TwoWords", L"wire guard", L""}, Names{"Hyphenated", L"win-tun", L""},
                    Names{"LetterWithDiaeresis", L"T\u00DCNNEL", L""},
                    Names{"FullWidthLetters", L"\uFF34\uFF35\uFF2E\uFF2E\uFF25\uFF2C", L""}),
    NameOf);

class TunnelClassification : public OnMachine {};

TEST_F(TunnelClassification, OfAnInterfaceThatCannotBeReadIsNoTunnel) {
  EXPECT_FALSE(IsTunnelInterface(21));
  machine.routes.AddInterface(21, L"wintun");
  machine.Fail("ReadInterfaceNames", 1, 2);
  EXPECT_FALSE(IsTunnelInterface(21));
  EXPECT_TRUE(IsTunnelInterface(21));
}

class TunnelDefaultRoute : public OnMachine {};

TEST_F(TunnelDefaultRoute, IsNotFoundInAnEmptyTable) {
  std::string route = "untouched";
  EXPECT_FALSE(FindTunnelDefaultRoute(&route));
  EXPECT_EQ(route, "untouched");
}

TEST_F(TunnelDefaultRoute, IsNotFoundInATableWithoutDefaultRoute) {
  machine.routes.AddInterface(21, L"wintun");
  machine.routes.Add("10.7.3.0/24", "0.0.0.0", 21, 5);
  std::string route = "untouched";
  EXPECT_FALSE(FindTunnelDefaultRoute(&route));
  EXPECT_EQ(route, "untouched");
}

TEST_F(TunnelDefaultRoute, IsNotFoundAmongPhysicalDefaultRoutes) {
  machine.routes.AddPhysicalNetwork();
  std::string route = "untouched";
  EXPECT_FALSE(FindTunnelDefaultRoute(&route));
  EXPECT_EQ(route, "untouched");
}

TEST_F(TunnelDefaultRoute, IsNotFoundInAnUnreadableTable) {
  machine.routes.AddInterface(21, L"wintun");
  machine.routes.Add("0.0.0.0/0", "10.7.3.1", 21, 5);
  machine.Fail("ReadForwardTable", 1, 50);
  std::string route = "untouched";
  EXPECT_FALSE(FindTunnelDefaultRoute(&route));
  EXPECT_EQ(route, "untouched");
}

TEST_F(TunnelDefaultRoute, IsNotFoundOnAnInterfaceThatIsGone) {
  machine.routes.Add("0.0.0.0/0", "10.7.3.1", 21, 5);
  EXPECT_FALSE(FindTunnelDefaultRoute(nullptr));
}

TEST_F(TunnelDefaultRoute, ReplacesTheTextByItsElement) {
  machine.routes.AddPhysicalNetwork();
  machine.routes.AddInterface(21, L"Veltrane WireGuard");
  machine.routes.Add("0.0.0.0/0", "10.7.3.1", 21, 5);
  std::string route = "before";
  EXPECT_TRUE(FindTunnelDefaultRoute(&route));
  EXPECT_EQ(route, "0.0.0.0/0->10.7.3.1@if21:Veltrane WireGuard:metric=5");
}

TEST_F(TunnelDefaultRoute, IsFoundWithoutATextToFill) {
  machine.routes.AddInterface(21, L"wintun");
  machine.routes.Add("0.0.0.0/0", "10.7.3.1", 21, 5);
  EXPECT_TRUE(FindTunnelDefaultRoute(nullptr));
}

TEST_F(TunnelDefaultRoute, IsTheFirstOfSeveralInTheSortedOrder) {
  machine.routes.AddInterface(21, L"wintun");
  machine.routes.AddInterface(22, L"Second Tunnel");
  machine.routes.Add("0.0.0.0/0", "10.9.0.1", 22, 1);
  machine.routes.Add("0.0.0.0/0", "10.7.3.1", 21, 5);
  std::string route;
  EXPECT_TRUE(FindTunnelDefaultRoute(&route));
  EXPECT_EQ(route, "0.0.0.0/0->10.7.3.1@if21:wintun:metric=5");
}

TEST_F(TunnelDefaultRoute, IsFoundByTheDescriptionOfAnInterfaceWithoutAlias) {
  machine.routes.AddInterface(21, L"", L"Wintun Userspace Tunnel");
  machine.routes.Add("0.0.0.0/0", "0.0.0.0", 21, 0);
  std::string route;
  EXPECT_TRUE(FindTunnelDefaultRoute(&route));
  EXPECT_EQ(route, "0.0.0.0/0->0.0.0.0@if21:Wintun Userspace Tunnel:metric=0");
}

TEST_F(TunnelDefaultRoute, IsNotAHalfOfTheAddressSpace) {
  machine.routes.AddInterface(21, L"wintun");
  machine.routes.Add("0.0.0.0/1", "10.7.3.1", 21, 5);
  machine.routes.Add("128.0.0.0/1", "10.7.3.1", 21, 5);
  EXPECT_FALSE(FindTunnelDefaultRoute(nullptr));
}

TEST_F(TunnelDefaultRoute, IsSoughtAmongDefaultRoutesOnlyAndUpToTheFirstHit) {
  machine.routes.KeepTableOrder();
  machine.routes.AddInterface(12, L"Ethernet");
  machine.routes.AddInterface(21, L"wintun");
  machine.routes.AddInterface(22, L"Second Tunnel");
  machine.routes.Add("10.7.3.0/24", "0.0.0.0", 22, 5);
  machine.routes.Add("0.0.0.0/0", "192.168.1.1", 12, 25);
  machine.routes.Add("0.0.0.0/0", "10.7.3.1", 21, 5);
  machine.routes.Add("0.0.0.0/0", "10.9.0.1", 22, 1);
  EXPECT_TRUE(FindTunnelDefaultRoute(nullptr));
  EXPECT_EQ(machine.calls.All(),
            (std::vector<std::string>{"ReadForwardTable", "ReadInterfaceNames 12",
                                      "ReadInterfaceNames 21"}));
}

}  // namespace
}  // namespace veltrane
