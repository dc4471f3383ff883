#include "guard/route_snapshots.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using simulated::Units;

struct Names {
  std::wstring alias;
  std::wstring description;
  std::string label;
};

class InterfaceLabel : public OnMachine {};

TEST_F(InterfaceLabel, IsTheAliasOrTheDescriptionOfAnEmptyOne) {
  for (const auto& [alias, description, label] :
       std::vector<Names>{{L"Ethernet", L"Intel(R) Ethernet Connection", "Ethernet"},
                          {L"", L"Wintun Userspace Tunnel", "Wintun Userspace Tunnel"},
                          {L" ", L"Wintun Userspace Tunnel", " "},
                          {L"", L"", ""},
                          {Units(u"B\u00FCro \u20AC \U0001F600"), L"",
                           "B\xC3\xBCro \xE2\x82\xAC \xF0\x9F\x98\x80"}}) {
    machine.routes.AddInterface(12, alias, description);
    EXPECT_EQ(DescribeInterface(12), label);
  }
}

TEST_F(InterfaceLabel, IsTheDescriptionWhenTheAliasCannotBeConverted) {
  machine.routes.AddInterface(12, L"Ethernet", L"Intel(R) Ethernet Connection");
  machine.Fail("WideToUtf8", 1, 87);
  EXPECT_EQ(DescribeInterface(12), "Intel(R) Ethernet Connection");
}

TEST_F(InterfaceLabel, IsIfAndTheUnsignedIndexWhenTheLookupFails) {
  EXPECT_EQ(DescribeInterface(17), "if17");
  EXPECT_EQ(DescribeInterface(0), "if0");
  EXPECT_EQ(DescribeInterface(4294967295), "if4294967295");
  machine.routes.AddInterface(12, L"Ethernet");
  machine.Fail("ReadInterfaceNames", 1, 1168);
  EXPECT_EQ(DescribeInterface(12), "if12");
}

class TunnelInterface : public OnMachine {
 protected:
  bool Is(const std::wstring& alias, const std::wstring& description = {}) {
    machine.routes.AddInterface(21, alias, description);
    return IsTunnelInterface(21);
  }
};

TEST_F(TunnelInterface, HasOneOfThreeWordsInItsAlias) {
  for (const wchar_t* alias :
       {L"Veltrane WireGuard", L"wireguard", L"WIREGUARD 2", L"myWintunAdapter", L"WINTUN",
        L"veltrane-tunnel", L"Teredo Tunneling Pseudo-Interface", L"TUNNEL",
        L"\u00DCbersee Tunnel"}) {
    EXPECT_TRUE(Is(alias)) << simulated::Narrow(alias);
  }
  EXPECT_TRUE(Is(L"Tunnel", L"Intel(R) Ethernet"));
}

TEST_F(TunnelInterface, IsNoneUnderAnotherName) {
  for (const wchar_t* alias :
       {L"Ethernet", L"wiregua", L"wintu tunne wireguar", L"wire guard", L"win-tun", L"T\u00DCNNEL",
        L"\uFF34\uFF35\uFF2E\uFF2E\uFF25\uFF2C"}) {
    EXPECT_FALSE(Is(alias, L"Intel(R) Ethernet Connection")) << simulated::Narrow(alias);
  }
}

TEST_F(TunnelInterface, IsKnownByItsDescriptionBehindAnEmptyAliasAlone) {
  EXPECT_TRUE(Is(L"", L"Wintun Userspace Tunnel"));
  EXPECT_FALSE(Is(L"vpn0", L"Wintun Userspace Tunnel"));
  EXPECT_FALSE(Is(L" ", L"Wintun Userspace Tunnel"));
  EXPECT_FALSE(Is(L"", L""));
}

TEST_F(TunnelInterface, IsNoneWhenItCannotBeRead) {
  EXPECT_FALSE(IsTunnelInterface(21));
  machine.Fail("ReadInterfaceNames", 1, 2);
  EXPECT_FALSE(Is(L"wintun"));
  EXPECT_TRUE(Is(L"wintun"));
}

class TunnelDefaultRoute : public OnMachine {
 protected:
  TunnelDefaultRoute() {
    machine.routes.AddInterface(21, L"wintun");
    machine.routes.AddInterface(22, L"Second Tunnel");
  }

  // The text of the route that is found.
  static std::string Find() {
    std::string route = "untouched";
    const bool found = FindTunnelDefaultRoute(&route);
    EXPECT_EQ(found, route != "untouched");
    return route;
  }
};

TEST_F(TunnelDefaultRoute, IsNotFoundAmongOtherRoutesAndOtherInterfaces) {
  EXPECT_EQ(Find(), "untouched");
  machine.routes.AddPhysicalNetwork();
  for (const char* destination : {"10.7.3.0/24", "0.0.0.0/1", "128.0.0.0/1"}) {
    machine.routes.Add(destination, "10.7.3.1", 21, 5);
  }
  machine.routes.Add("0.0.0.0/0", "10.7.3.1", 99, 5);
  EXPECT_EQ(Find(), "untouched");
}

TEST_F(TunnelDefaultRoute, IsNotFoundInAnUnreadableTable) {
  machine.routes.Add("0.0.0.0/0", "10.7.3.1", 21, 5);
  machine.Fail("ReadForwardTable", 1, 50);
  EXPECT_EQ(Find(), "untouched");
}

TEST_F(TunnelDefaultRoute, IsTheFirstOfSeveralInTheSortedOrder) {
  machine.routes.AddPhysicalNetwork();
  machine.routes.Add("0.0.0.0/0", "10.9.0.1", 22, 1);
  machine.routes.Add("0.0.0.0/0", "10.7.3.1", 21, 5);
  EXPECT_EQ(Find(), "0.0.0.0/0->10.7.3.1@if21:wintun:metric=5");
}

TEST_F(TunnelDefaultRoute, IsFoundByTheDescriptionOfAnInterfaceWithoutAlias) {
  machine.routes.AddInterface(21, L"", L"Wintun Userspace Tunnel");
  machine.routes.Add("0.0.0.0/0", "0.0.0.0", 21, 0);
  EXPECT_EQ(Find(), "0.0.0.0/0->0.0.0.0@if21:Wintun Userspace Tunnel:metric=0");
}

TEST_F(TunnelDefaultRoute, IsSoughtAmongDefaultRoutesOnlyAndUpToTheFirstHit) {
  machine.routes.KeepTableOrder();
  machine.routes.AddInterface(12, L"Ethernet");
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
