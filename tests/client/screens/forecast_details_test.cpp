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
  outlook.networks = {"0.0.0.0/0"};
  EXPECT_EQ(Detail(outlook),
            "AllowedIPs has 0.0.0.0/0 and one peer: the WireGuard library blocks everything "
            "outside the tunnel");
}

TEST(ForecastDetail, OfSeveralSlashZerosNamesEachOnce) {
  Outlook outlook = With(ForecastVerdict::kBlocked, Cause::kSlashZero);
  outlook.networks = {"0.0.0.0/0", "::/0", "1.2.3.4/0", "::/0"};
  EXPECT_EQ(Detail(outlook),
            "AllowedIPs has 0.0.0.0/0, ::/0, 1.2.3.4/0 and one peer: the WireGuard library blocks "
            "everything outside the tunnel");
}

TEST(ForecastDetail, WithoutAProfile) {
  Outlook outlook = With(ForecastVerdict::kBlocked, Cause::kAssumedCatchAll);
  outlook.networks = {"0.0.0.0/0", "::/0"};
  EXPECT_EQ(Detail(outlook), "a catch-all stands in for a profile");
}

TEST(ForecastDetail, OfANetworkThatTheTunnelTakes) {
  Outlook outlook = With(ForecastVerdict::kTunnel, Cause::kNetworkTaken);
  outlook.networks = {"128.0.0.0/1"};
  EXPECT_EQ(Detail(outlook), "its packets would leave by the tunnel, which takes 128.0.0.0/1");
}

TEST(ForecastDetail, OfMovesNamesBothWays) {
  Outlook outlook = With(ForecastVerdict::kMoves, Cause::kPinnedElsewhere);
  outlook.after = Through("192.168.2.1", 13);
  EXPECT_EQ(Detail(outlook),
            "it would be pinned through 192.168.2.1 on interface 13; today it is reached by "
            "192.168.1.1 on interface 12");
  outlook.cause = Cause::kLeftElsewhere;
  outlook.now = {.kind = KnownWay::Kind::kTunnel, .way = {40, Ip("0.0.0.0")}};
  EXPECT_EQ(
      Detail(outlook),
      "its packets would go by 192.168.2.1 on interface 13; today they go by interface 40, on "
      "the link, another tunnel");
  outlook.cause = Cause::kNowhere;
  outlook.now = Through("192.168.1.1", 12);
  outlook.after = KnownWay();
  EXPECT_EQ(Detail(outlook),
            "no route to it would be left; today its packets go by 192.168.1.1 on interface 12");
}

// The system parses the addresses.
class ForecastDetailOnMachine : public OnMachine {};

struct UnknownCase {
  Cause cause;
  const char* detail;
};

// The system parses the addresses.
class UnknownDetail : public OnMachine, public testing::WithParamInterface<UnknownCase> {};

TEST_P(UnknownDetail, SaysWhatIsNotKnown) {
  EXPECT_EQ(Detail(With(ForecastVerdict::kUnknown, GetParam().cause)), GetParam().detail);
}

INSTANTIATE_TEST_SUITE_P(
    Causes, UnknownDetail,
    testing::Values(
        UnknownCase{Cause::kTableUnread, "the routes cannot be read"},
        UnknownCase{Cause::kOwnAddressesUnread, "the machine's own addresses cannot be read"},
        UnknownCase{Cause::kOlderTunnel, "a tunnel is up, or may be; a connect would replace it"},
        UnknownCase{Cause::kNoWayToday, "no route leads to it today"},
        UnknownCase{Cause::kArrivalUnclear,
                    "by which interface the connection came is not clear, or that interface has no "
                    "route back"},
        UnknownCase{Cause::kWaysAreEqual, "two different routes to it are equally good"},
        UnknownCase{Cause::kInterfaceUnproved,
                    "an interface that decides is not known to be hardware that is up; it may be "
                    "another tunnel, whose own packets the connect may take"},
        UnknownCase{
            Cause::kLoopback,
            "a program on this machine relays the connection: ask about the address that its "
            "client comes from"},
        UnknownCase{Cause::kOwnAddress,
                    "the machine's own address: ask about the address that the administrator comes "
                    "from"},
        UnknownCase{Cause::kNobodys, "not an address that a machine can have"},
        UnknownCase{Cause::kZoneMissing,
                    "a link-local address leads nowhere without its interface"},
        UnknownCase{Cause::kGuardNetworkUnknown,
                    "the default-route guard puts the client's own network in the place of a "
                    "catch-all, and only the profile says which one that is"},
        UnknownCase{Cause::kAddressCatchesAll, "Address has a network of length /0"},
        UnknownCase{Cause::kAddressTaken,
                    "Address is the gateway's or one that the machine has already"},
        UnknownCase{Cause::kProfileUnread, "AllowedIPs or Address is not a list of networks"},
        UnknownCase{Cause::kPinUnclear, "whether it would be pinned is not known"}));

TEST(ForecastDetail, OfAnotherTunnelNamesItOnce) {
  Outlook outlook = With(ForecastVerdict::kUnknown, Cause::kOtherTunnel);
  outlook.now = {.kind = KnownWay::Kind::kTunnel, .way = {40, Ip("10.8.0.1")}};
  EXPECT_EQ(Detail(outlook),
            "it is reached through another tunnel, 10.8.0.1 on interface 40, whose own packets the "
            "connect may take");
}

TEST(ForecastDetail, OfAConnectThatIsUndone) {
  Outlook outlook = With(ForecastVerdict::kUndone, Cause::kTunnelDefaultRoute);
  outlook.error = outlook.failure_reason = "poc_default_route_detected";
  EXPECT_EQ(Detail(outlook),
            "the tunnel would be started, and taken down again because of a default route through "
            "another tunnel (poc_default_route_detected); a connection may break in that time");
}

TEST(ForecastDetail, OfAConnectThatIsUndoneSaysWhatBecomesOfATunnelThatIsUp) {
  Outlook outlook = With(ForecastVerdict::kUndone, Cause::kTunnelDefaultRoute);
  outlook.error = outlook.failure_reason = "poc_default_route_detected";
  outlook.replaces_tunnel = true;
  EXPECT_EQ(Detail(outlook),
            "the tunnel would be started, and taken down again because of a default route through "
            "another tunnel (poc_default_route_detected); a connection may break in that time; the "
            "tunnel that is up now would be gone");
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
            "up now would run on, but the service would call it disconnected and forget its pinned "
            "routes");
}

TEST(ForecastDetail, SaysThatAConnectionMaySurvive) {
  Outlook outlook = With(ForecastVerdict::kTunnel, Cause::kNetworkTaken);
  outlook.networks = {"128.0.0.0/1"};
  outlook.may_survive = true;
  EXPECT_EQ(Detail(outlook),
            "its packets would leave by the tunnel, which takes 128.0.0.0/1; on Windows an "
            "established connection may survive all the same, a new one would not");
}

TEST(ForecastDetail, NamesTheSettingsThatWouldSettleIt) {
  Outlook outlook = With(ForecastVerdict::kTunnel, Cause::kNetworkTaken);
  outlook.networks = {"128.0.0.0/1"};
  outlook.settled_by = {Setting::kGuard};
  EXPECT_EQ(Detail(outlook),
            "its packets would leave by the tunnel, which takes 128.0.0.0/1; that depends on "
            "VELTRANE_POC_DISABLE_DEFAULT_ROUTE, whose value in the service is not known");
  outlook.settled_by = {Setting::kBypassSwitch, Setting::kAddress, Setting::kAddresses};
  EXPECT_EQ(Detail(outlook),
            "its packets would leave by the tunnel, which takes 128.0.0.0/1; that depends on "
            "VELTRANE_POC_ADMIN_BYPASS, ADMIN_BYPASS_IP, ADMIN_BYPASS_IPS, whose value in the "
            "service is not known");
}

TEST(ForecastDetail, SaysWhatIsAssumed) {
  EXPECT_EQ(DetailOf(With(ForecastVerdict::kStays, Cause::kProved), true),
            "by 192.168.1.1 on interface 12, as today; assuming that the service has this "
            "process's environment and session");
}

TEST(ForecastDetail, SaysThatTheClientOfASessionProvesNothing) {
  Outlook outlook = With(ForecastVerdict::kStays, Cause::kProved);
  outlook.subject.reason = SubjectReason::kRdpSession;
  EXPECT_EQ(Detail(outlook),
            "by 192.168.1.1 on interface 12, as today; the address is what the client says of "
            "itself and proves nothing about the person");
}

TEST_F(ForecastDetailOnMachine, OfAPinThatIsUnclearIsAboutTheConnectForWhoIsNeverPinned) {
  Outlook outlook = With(ForecastVerdict::kUnknown, Cause::kPinUnclear);
  for (const char* address : {"192.168.1.50", "2001:db8::5"}) {
    outlook.subject = Asked(address);
    EXPECT_EQ(Detail(outlook), "whether the connect would go on is not known") << address;
  }
}

TEST(ForecastDetail, SaysEverythingInThisOrder) {
  Outlook outlook = With(ForecastVerdict::kMoves, Cause::kLeftElsewhere);
  outlook.after = Through("192.168.2.1", 13);
  outlook.may_survive = true;
  outlook.settled_by = {Setting::kAddress};
  EXPECT_EQ(DetailOf(outlook, true),
            "its packets would go by 192.168.2.1 on interface 13; today they go by 192.168.1.1 on "
            "interface 12; on Windows an established connection may survive all the same, a new "
            "one would not; that depends on ADMIN_BYPASS_IP, whose value in the service is not "
            "known; assuming that the service has this process's environment and session");
}

}  // namespace
}  // namespace veltrane
