#include "client/screens/forecast_texts.h"
#include "tests/client/forecast/situations.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

constexpr KnownWay::Kind kPhysical = KnownWay::Kind::kPhysical;

KnownWay Through(const std::string& next_hop, std::uint32_t interface_index) {
  return {.kind = kPhysical, .way = {interface_index, Ip(next_hop)}};
}

// What an outlook for an address that is asked about says of its cause.
Outlook With(ForecastVerdict verdict, Cause cause) {
  Outlook outlook;
  outlook.subject = Asked("203.0.113.5");
  outlook.verdict = verdict;
  outlook.cause = cause;
  outlook.now = Through("192.168.1.1", 12);
  return outlook;
}

std::string Detail(const Outlook& outlook) { return DetailOf(outlook, false); }

TEST(ForecastDetail, OfSomebodyWhoStays) {
  Outlook outlook = With(ForecastVerdict::kStays, Cause::kProved);
  EXPECT_EQ(Detail(outlook), "by 192.168.1.1 on interface 12, as today");
  outlook.now = Through("0.0.0.0", 12);
  EXPECT_EQ(Detail(outlook), "by interface 12, on the link, as today");
  outlook.now = Through("fe80::1", 7);
  EXPECT_EQ(Detail(outlook), "by fe80::1 on interface 7, as today");
}

TEST(ForecastDetail, OfASlashZero) {
  Outlook outlook = With(ForecastVerdict::kBlocked, Cause::kSlashZero);
  outlook.networks = {Net("0.0.0.0/0")};
  EXPECT_EQ(Detail(outlook),
            "AllowedIPs has 0.0.0.0/0 and one peer: the WireGuard library blocks everything "
            "outside the tunnel");
}

TEST(ForecastDetail, OfSeveralSlashZerosNamesEachOnce) {
  Outlook outlook = With(ForecastVerdict::kBlocked, Cause::kSlashZero);
  outlook.networks = {Net("0.0.0.0/0"), Net("::/0"), Net("1.2.3.4/0")};
  EXPECT_EQ(Detail(outlook),
            "AllowedIPs has 0.0.0.0/0, ::/0 and one peer: the WireGuard library blocks everything "
            "outside the tunnel");
}

TEST(ForecastDetail, WithoutAProfile) {
  Outlook outlook = With(ForecastVerdict::kBlocked, Cause::kAssumedCatchAll);
  outlook.networks = {Net("0.0.0.0/0"), Net("::/0")};
  EXPECT_EQ(Detail(outlook),
            "without a profile this is the answer for 0.0.0.0/0, ::/0, with which the WireGuard "
            "library blocks everything outside the tunnel");
}

TEST(ForecastDetail, OfANetworkThatTheTunnelTakes) {
  Outlook outlook = With(ForecastVerdict::kTunnel, Cause::kNetworkTaken);
  outlook.networks = {Net("128.0.0.0/1")};
  EXPECT_EQ(Detail(outlook), "its packets would leave by the tunnel, which takes 128.0.0.0/1");
}

TEST(ForecastDetail, OfMovesNamesBothWays) {
  Outlook outlook = With(ForecastVerdict::kMoves, Cause::kPinnedElsewhere);
  outlook.after = Through("192.168.2.1", 13);
  EXPECT_EQ(Detail(outlook),
            "it would be pinned through 192.168.2.1 on interface 13, today by 192.168.1.1 on "
            "interface 12");
  outlook.cause = Cause::kLeftElsewhere;
  outlook.now = {.kind = KnownWay::Kind::kTunnel, .way = {40, Ip("0.0.0.0")}};
  EXPECT_EQ(Detail(outlook),
            "it would be left to 192.168.2.1 on interface 13, today by interface 40, on the link, "
            "another tunnel");
  outlook.cause = Cause::kNowhere;
  outlook.now = Through("192.168.1.1", 12);
  outlook.after = KnownWay();
  EXPECT_EQ(Detail(outlook), "no route to it would be left, today by 192.168.1.1 on interface 12");
}

struct UnknownCase {
  Cause cause;
  const char* detail;
};

class UnknownDetail : public testing::TestWithParam<UnknownCase> {};

TEST_P(UnknownDetail, SaysWhatIsNotKnown) {
  EXPECT_EQ(Detail(With(ForecastVerdict::kUnknown, GetParam().cause)), GetParam().detail);
}

INSTANTIATE_TEST_SUITE_P(
    Causes, UnknownDetail,
    testing::Values(
        UnknownCase{Cause::kTableUnread, "the routes cannot be read"},
        UnknownCase{Cause::kOwnAddressesUnread, "the machine's own addresses cannot be read"},
        UnknownCase{Cause::kOlderTunnel,
                    "a tunnel is up, or perhaps is, and a connect would replace it"},
        UnknownCase{Cause::kNoWayToday, "no route leads to it today"},
        UnknownCase{Cause::kArrivalUnclear,
                    "the connection's own interface has no route back to it"},
        UnknownCase{Cause::kWaysAreEqual, "two different routes to it are equally good"},
        UnknownCase{Cause::kOtherTunnel,
                    "it is reached through another tunnel, interface 12, whose own packets the "
                    "connect may take"},
        UnknownCase{Cause::kInterfaceUnproved,
                    "an interface that decides is not known to be hardware; it may be another "
                    "tunnel, whose own packets the connect may take"},
        UnknownCase{Cause::kLoopback,
                    "a program of this machine connects on behalf of somebody: ask for the "
                    "address that this comes from"},
        UnknownCase{Cause::kOwnAddress,
                    "the machine's own address: ask for the one from which somebody comes"},
        UnknownCase{Cause::kZoneMissing,
                    "a link-local address leads nowhere without its interface"},
        UnknownCase{Cause::kGuardNetworkUnknown,
                    "the default-route guard puts the client's own network in the place of a "
                    "catch-all, and only the profile says which one that is"},
        UnknownCase{Cause::kAddressCatchesAll, "Address has a network of length /0"},
        UnknownCase{Cause::kProfileUnread, "the profile's networks cannot be told"},
        UnknownCase{Cause::kPinUnclear, "whether the service can pin it is not known"}));

TEST(ForecastDetail, OfAConnectThatIsUndone) {
  Outlook outlook = With(ForecastVerdict::kUndone, Cause::kTunnelDefaultRoute);
  outlook.error = outlook.failure_reason = "poc_default_route_detected";
  EXPECT_EQ(Detail(outlook),
            "the tunnel would be started, and taken down again because of a default route through "
            "another tunnel (poc_default_route_detected); a connection may break in that time");
}

TEST(ForecastDetail, OfARefusalSaysItsErrorAndReason) {
  Outlook outlook = With(ForecastVerdict::kRefused, Cause::kRefusal);
  outlook.error = "admin_bypass_failed";
  outlook.failure_reason = "no_admin_bypass_ips";
  EXPECT_EQ(Detail(outlook), "nothing would be started: admin_bypass_failed (no_admin_bypass_ips)");
  outlook.error = outlook.failure_reason = "poc_env_read_failed";
  EXPECT_EQ(Detail(outlook), "nothing would be started: poc_env_read_failed");
}

TEST(ForecastDetail, OfARefusalSaysWhatATunnelThatIsUpLoses) {
  Outlook outlook = With(ForecastVerdict::kRefused, Cause::kRefusal);
  outlook.error = "admin_bypass_failed";
  outlook.failure_reason = "route_add_failed";
  outlook.replaces_tunnel = true;
  EXPECT_EQ(Detail(outlook),
            "nothing would be started: admin_bypass_failed (route_add_failed); the tunnel that is "
            "up would lose its phase and its pinned routes even so");
}

TEST(ForecastDetail, SaysThatAConnectionMaySurvive) {
  Outlook outlook = With(ForecastVerdict::kTunnel, Cause::kNetworkTaken);
  outlook.networks = {Net("128.0.0.0/1")};
  outlook.may_survive = true;
  EXPECT_EQ(Detail(outlook),
            "its packets would leave by the tunnel, which takes 128.0.0.0/1; on Windows an "
            "established connection may survive all the same, a new one would not");
}

TEST(ForecastDetail, NamesTheSettingsThatWouldSettleIt) {
  Outlook outlook = With(ForecastVerdict::kTunnel, Cause::kNetworkTaken);
  outlook.networks = {Net("128.0.0.0/1")};
  outlook.settled_by = {Setting::kGuard};
  EXPECT_EQ(Detail(outlook),
            "its packets would leave by the tunnel, which takes 128.0.0.0/1; that depends on "
            "VELTRANE_POC_DISABLE_DEFAULT_ROUTE, of which the value that the service has is not "
            "known");
  outlook.settled_by = {Setting::kBypassSwitch, Setting::kAddress, Setting::kAddresses};
  EXPECT_EQ(Detail(outlook),
            "its packets would leave by the tunnel, which takes 128.0.0.0/1; that depends on "
            "VELTRANE_POC_ADMIN_BYPASS, ADMIN_BYPASS_IP, ADMIN_BYPASS_IPS, of which the value that "
            "the service has is not known");
}

TEST(ForecastDetail, SaysWhatIsAssumed) {
  EXPECT_EQ(DetailOf(With(ForecastVerdict::kStays, Cause::kProved), true),
            "by 192.168.1.1 on interface 12, as today; assuming that the service has this "
            "process's environment");
}

TEST(ForecastDetail, SaysEverythingInThisOrder) {
  Outlook outlook = With(ForecastVerdict::kMoves, Cause::kLeftElsewhere);
  outlook.after = Through("192.168.2.1", 13);
  outlook.may_survive = true;
  outlook.settled_by = {Setting::kAddress};
  EXPECT_EQ(DetailOf(outlook, true),
            "it would be left to 192.168.2.1 on interface 13, today by 192.168.1.1 on interface "
            "12; on Windows an established connection may survive all the same, a new one would "
            "not; that depends on ADMIN_BYPASS_IP, of which the value that the service has is not "
            "known; assuming that the service has this process's environment");
}

// The system parses the addresses.
class ForecastFix : public OnMachine {};

TEST_F(ForecastFix, OfASlashZeroIsItsHalves) {
  Outlook outlook = With(ForecastVerdict::kBlocked, Cause::kSlashZero);
  outlook.networks = {Net("0.0.0.0/0")};
  EXPECT_EQ(FixOf(outlook),
            "With 0.0.0.0/1, 128.0.0.0/1 it does not, but DNS and IPv6 may then leak");
  outlook.networks = {Net("::/0")};
  EXPECT_EQ(FixOf(outlook), "With ::/1, 8000::/1 it does not, but DNS and IPv6 may then leak");
  outlook.networks = {Net("::/0"), Net("0.0.0.0/0")};
  EXPECT_EQ(FixOf(outlook),
            "With 0.0.0.0/1, 128.0.0.0/1, ::/1, 8000::/1 it does not, but DNS and IPv6 may then "
            "leak");
}

TEST_F(ForecastFix, WithoutAProfileIsToAskWithOne) {
  EXPECT_EQ(FixOf(With(ForecastVerdict::kBlocked, Cause::kAssumedCatchAll)),
            ".\\veltranectl doctor PROFILE");
  EXPECT_EQ(FixOf(With(ForecastVerdict::kUnknown, Cause::kGuardNetworkUnknown)),
            ".\\veltranectl doctor PROFILE");
}

TEST_F(ForecastFix, OfATakenNetworkIsToNameWhoCanBePinned) {
  Outlook outlook = With(ForecastVerdict::kTunnel, Cause::kNetworkTaken);
  EXPECT_EQ(FixOf(outlook),
            "name it in ADMIN_BYPASS_IP, with the default-route guard off, or keep its network out "
            "of AllowedIPs");
  for (const char* address : {"192.168.1.50", "2001:db8::5"}) {
    outlook.subject = Asked(address);
    EXPECT_EQ(FixOf(outlook),
              "keep its network out of AllowedIPs: only public IPv4 addresses are pinned")
        << address;
  }
}

TEST_F(ForecastFix, OfAPinElsewhereIsToComeInThere) {
  EXPECT_EQ(FixOf(With(ForecastVerdict::kMoves, Cause::kPinnedElsewhere)),
            "come in through the other interface, or turn the bypass off and keep its network out "
            "of AllowedIPs");
}

TEST_F(ForecastFix, OfAnOlderTunnelIsToDisconnect) {
  EXPECT_EQ(FixOf(With(ForecastVerdict::kUnknown, Cause::kOlderTunnel)),
            ".\\veltranectl disconnect");
}

TEST_F(ForecastFix, OfAPinThatIsUnclearIsElevationForWhoCanBePinned) {
  Outlook outlook = With(ForecastVerdict::kUnknown, Cause::kPinUnclear);
  EXPECT_EQ(FixOf(outlook), "look again in an elevated prompt");
  outlook.subject = Asked("192.168.1.50");
  EXPECT_EQ(FixOf(outlook), "");
  outlook.subject = Asked("2001:db8::5");
  EXPECT_EQ(FixOf(outlook), "");
}

TEST_F(ForecastFix, OfSettingsThatAreNotKnownComesFirst) {
  Outlook outlook = With(ForecastVerdict::kTunnel, Cause::kNetworkTaken);
  outlook.settled_by = {Setting::kAddress, Setting::kAddresses};
  EXPECT_EQ(FixOf(outlook),
            "look again in an elevated prompt, or set ADMIN_BYPASS_IP, ADMIN_BYPASS_IPS in the "
            "service's own environment and restart the service (docs/limits.md)");
}

TEST_F(ForecastFix, IsNotGivenForAnythingElse) {
  for (const Cause cause :
       {Cause::kProved, Cause::kLeftElsewhere, Cause::kNowhere, Cause::kTableUnread,
        Cause::kOwnAddressesUnread, Cause::kNoWayToday, Cause::kArrivalUnclear,
        Cause::kWaysAreEqual, Cause::kOtherTunnel, Cause::kInterfaceUnproved, Cause::kLoopback,
        Cause::kOwnAddress, Cause::kZoneMissing, Cause::kAddressCatchesAll, Cause::kProfileUnread,
        Cause::kTunnelDefaultRoute, Cause::kRefusal}) {
    EXPECT_EQ(FixOf(With(ForecastVerdict::kUnknown, cause)), "") << NameOf(cause);
  }
}

}  // namespace
}  // namespace veltrane
