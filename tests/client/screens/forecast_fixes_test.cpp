#include "client/screens/forecast_texts.h"
#include "tests/client/forecast/situations.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

// What an outlook for an address that is asked about says of its cause.
Outlook With(ForecastVerdict verdict, Cause cause) {
  Outlook outlook;
  outlook.subject = Asked("203.0.113.5");
  outlook.verdict = verdict;
  outlook.cause = cause;
  return outlook;
}

// The system parses the addresses.
class ForecastFix : public OnMachine {};

TEST_F(ForecastFix, OfASlashZeroIsItsHalves) {
  Outlook outlook = With(ForecastVerdict::kBlocked, Cause::kSlashZero);
  outlook.networks = {"0.0.0.0/0"};
  EXPECT_EQ(FixOf(outlook),
            "With 0.0.0.0/1, 128.0.0.0/1 it does not, but DNS and IPv6 may then leak, and whoever "
            "is not pinned is lost to the tunnel");
  outlook.networks = {"::/0"};
  EXPECT_EQ(FixOf(outlook),
            "With ::/1, 8000::/1 it does not, but DNS and IPv6 may then leak, and whoever is not "
            "pinned is lost to the tunnel");
  outlook.networks = {"::/0", "0.0.0.0/0"};
  EXPECT_EQ(FixOf(outlook),
            "With 0.0.0.0/1, 128.0.0.0/1, ::/1, 8000::/1 it does not, but DNS and IPv6 may then "
            "leak, and whoever is not pinned is lost to the tunnel");
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
            "pin it, by naming it in ADMIN_BYPASS_IP with the default-route guard off, or keep its "
            "network out of AllowedIPs and Address");
  for (const char* address : {"192.168.1.50", "2001:db8::5"}) {
    outlook.subject = Asked(address);
    EXPECT_EQ(FixOf(outlook),
              "keep its network out of AllowedIPs and Address: only public IPv4 addresses are "
              "pinned")
        << address;
  }
}

TEST_F(ForecastFix, OfAPinElsewhereIsToComeInThere) {
  EXPECT_EQ(FixOf(With(ForecastVerdict::kMoves, Cause::kPinnedElsewhere)),
            "come in by the way that leads to the default gateway, or turn the bypass off and keep "
            "its network out of AllowedIPs");
}

TEST_F(ForecastFix, OfAnOlderTunnelIsToDisconnect) {
  EXPECT_EQ(FixOf(With(ForecastVerdict::kUnknown, Cause::kOlderTunnel)),
            ".\\veltranectl disconnect");
}

TEST_F(ForecastFix, OfADefaultRouteThroughAnotherTunnelIsToDisconnectThat) {
  EXPECT_EQ(FixOf(With(ForecastVerdict::kUndone, Cause::kTunnelDefaultRoute)),
            "disconnect the other tunnel first");
}

TEST_F(ForecastFix, OfAPinThatIsUnclearIsElevationForWhoCanBePinned) {
  Outlook outlook = With(ForecastVerdict::kUnknown, Cause::kPinUnclear);
  EXPECT_EQ(FixOf(outlook), "look again in an elevated prompt");
  outlook.subject = Asked("192.168.1.50");
  EXPECT_EQ(FixOf(outlook), "");
  outlook.subject = Asked("2001:db8::5");
  EXPECT_EQ(FixOf(outlook), "");
}

TEST_F(ForecastFix, OfSettingsThatAreNotKnownFollowsThatOfTheCause) {
  Outlook outlook = With(ForecastVerdict::kTunnel, Cause::kNetworkTaken);
  outlook.settled_by = {Setting::kAddress, Setting::kAddresses};
  EXPECT_EQ(FixOf(outlook),
            "pin it, by naming it in ADMIN_BYPASS_IP with the default-route guard off, or keep its "
            "network out of AllowedIPs and Address\n"
            "look again in an elevated prompt, or set ADMIN_BYPASS_IP, ADMIN_BYPASS_IPS in the "
            "service's own environment and restart the service (docs/limits.md)");
  outlook.cause = Cause::kRefusal;
  EXPECT_EQ(FixOf(outlook),
            "look again in an elevated prompt, or set ADMIN_BYPASS_IP, ADMIN_BYPASS_IPS in the "
            "service's own environment and restart the service (docs/limits.md)");
}

TEST_F(ForecastFix, IsNotGivenForAnythingElse) {
  for (const Cause cause :
       {Cause::kProved, Cause::kLeftElsewhere, Cause::kNowhere, Cause::kTableUnread,
        Cause::kOwnAddressesUnread, Cause::kNoWayToday, Cause::kArrivalUnclear,
        Cause::kWaysAreEqual, Cause::kOtherTunnel, Cause::kInterfaceUnproved, Cause::kLoopback,
        Cause::kOwnAddress, Cause::kNobodys, Cause::kZoneMissing, Cause::kAddressCatchesAll,
        Cause::kAddressTaken, Cause::kProfileUnread, Cause::kRefusal}) {
    EXPECT_EQ(FixOf(With(ForecastVerdict::kUnknown, cause)), "") << NameOf(cause);
  }
}

}  // namespace
}  // namespace veltrane
