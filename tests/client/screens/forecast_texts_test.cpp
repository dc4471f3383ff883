#include "client/screens/forecast_texts.h"

#include <nlohmann/json.hpp>

#include "tests/client/forecast/situations.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

constexpr ForecastVerdict kVerdicts[] = {ForecastVerdict::kBlocked, ForecastVerdict::kTunnel,
                                         ForecastVerdict::kMoves,   ForecastVerdict::kUnknown,
                                         ForecastVerdict::kUndone,  ForecastVerdict::kRefused,
                                         ForecastVerdict::kStays};

Outlook Of(const Subject& subject, ForecastVerdict verdict) {
  Outlook outlook;
  outlook.subject = subject;
  outlook.verdict = verdict;
  return outlook;
}

TEST(ForecastWords, AreThoseThatProgramsRead) {
  EXPECT_STREQ(VerdictWord(ForecastVerdict::kBlocked), "blocked");
  EXPECT_STREQ(VerdictWord(ForecastVerdict::kTunnel), "tunnel");
  EXPECT_STREQ(VerdictWord(ForecastVerdict::kMoves), "moves");
  EXPECT_STREQ(VerdictWord(ForecastVerdict::kUnknown), "unknown");
  EXPECT_STREQ(VerdictWord(ForecastVerdict::kUndone), "undone");
  EXPECT_STREQ(VerdictWord(ForecastVerdict::kRefused), "refused");
  EXPECT_STREQ(VerdictWord(ForecastVerdict::kStays), "stays");
  EXPECT_STREQ(ReasonWord(SubjectReason::kRdpConnection), "rdp_connection");
  EXPECT_STREQ(ReasonWord(SubjectReason::kSetting), "setting");
  EXPECT_STREQ(ReasonWord(SubjectReason::kAsked), "asked");
  EXPECT_STREQ(ReasonWord(SubjectReason::kRdpSession), "rdp_session");
  EXPECT_STREQ(ReasonWord(SubjectReason::kSshConnection), "ssh_connection");
  EXPECT_STREQ(ReasonWord(SubjectReason::kWinRmConnection), "winrm_connection");
}

TEST(Endangered, IsWhoIsConnectedAndNeitherStaysNorIsLeftAloneByARefusal) {
  const Subject subject = Connected("203.0.113.5", "192.168.1.10");
  EXPECT_TRUE(Endangers(Of(subject, ForecastVerdict::kBlocked)));
  EXPECT_TRUE(Endangers(Of(subject, ForecastVerdict::kTunnel)));
  EXPECT_TRUE(Endangers(Of(subject, ForecastVerdict::kMoves)));
  EXPECT_TRUE(Endangers(Of(subject, ForecastVerdict::kUnknown)));
  EXPECT_TRUE(Endangers(Of(subject, ForecastVerdict::kUndone)));
  EXPECT_FALSE(Endangers(Of(subject, ForecastVerdict::kRefused)));
  EXPECT_FALSE(Endangers(Of(subject, ForecastVerdict::kStays)));
}

TEST(Endangered, IsNobodyWhoIsNotConnected) {
  for (const SubjectReason reason :
       {SubjectReason::kSetting, SubjectReason::kAsked, SubjectReason::kRdpSession}) {
    Subject subject = Asked("203.0.113.5");
    subject.reason = reason;
    for (const ForecastVerdict verdict : kVerdicts) {
      EXPECT_FALSE(Endangers(Of(subject, verdict))) << NameOf(verdict);
    }
  }
}

TEST(WorstFirst, KeepsTheOrderOfEqualVerdicts) {
  const std::vector<Outlook> sorted =
      WorstFirst({Of(Asked("192.0.2.1"), ForecastVerdict::kStays),
                  Of(Asked("192.0.2.2"), ForecastVerdict::kRefused),
                  Of(Asked("192.0.2.3"), ForecastVerdict::kTunnel),
                  Of(Asked("192.0.2.4"), ForecastVerdict::kUndone),
                  Of(Asked("192.0.2.5"), ForecastVerdict::kStays),
                  Of(Asked("192.0.2.6"), ForecastVerdict::kBlocked),
                  Of(Asked("192.0.2.7"), ForecastVerdict::kUnknown),
                  Of(Asked("192.0.2.8"), ForecastVerdict::kMoves),
                  Of(Asked("192.0.2.9"), ForecastVerdict::kTunnel)});
  std::string order;
  for (const Outlook& outlook : sorted) {
    order += NameOf(outlook.verdict) + " " + AddressText(outlook.subject.address) + "; ";
  }
  EXPECT_EQ(order,
            "blocked 192.0.2.6; tunnel 192.0.2.3; tunnel 192.0.2.9; moves 192.0.2.8; unknown "
            "192.0.2.7; undone 192.0.2.4; refused 192.0.2.2; stays 192.0.2.1; stays 192.0.2.5; ");
  EXPECT_TRUE(WorstFirst({}).empty());
}

TEST(WorstFirst, KeepsTheOrderOfMany) {
  std::vector<Outlook> many;
  for (int i = 1; i <= 40; ++i) {
    many.push_back(Of(Asked("192.0.2." + std::to_string(i)),
                      i % 2 == 0 ? ForecastVerdict::kTunnel : ForecastVerdict::kStays));
  }
  const std::vector<Outlook> sorted = WorstFirst(many);
  ASSERT_EQ(sorted.size(), 40u);
  for (int i = 1; i <= 20; ++i) {
    EXPECT_EQ(sorted[static_cast<std::size_t>(i - 1)].subject.address,
              Ip("192.0.2." + std::to_string(2 * i)));
    EXPECT_EQ(sorted[static_cast<std::size_t>(i + 19)].subject.address,
              Ip("192.0.2." + std::to_string(2 * i - 1)));
  }
}

TEST(ForecastSummary, SaysWhoItIs) {
  Subject subject = Connected("203.0.113.5", "192.168.1.10");
  EXPECT_EQ(SummaryOf(Of(subject, ForecastVerdict::kStays)),
            "connected over Remote Desktop to 192.168.1.10: stays");
  subject.local.reset();
  EXPECT_EQ(SummaryOf(Of(subject, ForecastVerdict::kStays)),
            "connected over Remote Desktop: stays");
  subject.reason = SubjectReason::kSshConnection;
  EXPECT_EQ(SummaryOf(Of(subject, ForecastVerdict::kStays)), "connected over SSH: stays");
  subject.reason = SubjectReason::kWinRmConnection;
  EXPECT_EQ(SummaryOf(Of(subject, ForecastVerdict::kStays)), "connected over WinRM: stays");
  subject.reason = SubjectReason::kSetting;
  EXPECT_EQ(SummaryOf(Of(subject, ForecastVerdict::kStays)), "named by the settings: stays");
  subject.reason = SubjectReason::kAsked;
  EXPECT_EQ(SummaryOf(Of(subject, ForecastVerdict::kStays)), "asked about: stays");
  subject.reason = SubjectReason::kRdpSession;
  EXPECT_EQ(SummaryOf(Of(subject, ForecastVerdict::kStays)),
            "address that a session's client claims: stays");
}

TEST(ForecastSummary, SaysWhatWouldHappen) {
  const Subject subject = Asked("203.0.113.5");
  EXPECT_EQ(SummaryOf(Of(subject, ForecastVerdict::kBlocked)), "asked about: would be blocked");
  EXPECT_EQ(SummaryOf(Of(subject, ForecastVerdict::kTunnel)),
            "asked about: would be lost to the tunnel");
  EXPECT_EQ(SummaryOf(Of(subject, ForecastVerdict::kMoves)), "asked about: would move");
  EXPECT_EQ(SummaryOf(Of(subject, ForecastVerdict::kUnknown)), "asked about: not known");
  EXPECT_EQ(SummaryOf(Of(subject, ForecastVerdict::kUndone)), "asked about: would be interrupted");
  EXPECT_EQ(SummaryOf(Of(subject, ForecastVerdict::kRefused)),
            "asked about: the connect would be refused");
  EXPECT_EQ(SummaryOf(Of(subject, ForecastVerdict::kStays)), "asked about: stays");
}

// The system parses the addresses.
class ForecastAsJson : public OnMachine {
 protected:
  ForecastAsJson() {
    stays_ = Of(Connected("203.0.113.5", "192.168.77.2"), ForecastVerdict::kStays);
    stays_.cause = Cause::kProved;
    stays_.now = {.kind = KnownWay::Kind::kPhysical, .way = {2, Ip("192.168.77.1")}};
    stays_.after = stays_.now;
  }

  static std::string Written(const std::vector<Outlook>& outlooks, bool assumed = false) {
    return ForecastJson(outlooks, assumed).dump();
  }

  Outlook stays_;
};

TEST_F(ForecastAsJson, OfSomebodyWhoStaysHasNoFix) {
  EXPECT_EQ(
      Written({stays_}),
      R"([{"address":"203.0.113.5","reason":"rdp_connection","local":"192.168.77.2",)"
      R"("now":{"kind":"physical","interface":2,"next_hop":"192.168.77.1"},)"
      R"("after":{"kind":"physical","interface":2,"next_hop":"192.168.77.1"},"verdict":"stays",)"
      R"("detail":"by 192.168.77.1 on interface 2, as today"}])");
}

TEST_F(ForecastAsJson, SaysWhatIsAssumed) {
  EXPECT_EQ(
      Written({stays_}, true),
      R"([{"address":"203.0.113.5","reason":"rdp_connection","local":"192.168.77.2",)"
      R"("now":{"kind":"physical","interface":2,"next_hop":"192.168.77.1"},)"
      R"("after":{"kind":"physical","interface":2,"next_hop":"192.168.77.1"},"verdict":"stays",)"
      R"("detail":"by 192.168.77.1 on interface 2, as today; assuming that the service has this )"
      R"(process's environment and session"}])");
}

TEST_F(ForecastAsJson, OfAWayOnTheLinkHasNoNextHop) {
  Outlook outlook = Of(Asked("2001:db8:1::50"), ForecastVerdict::kStays);
  outlook.cause = Cause::kProved;
  outlook.now = {.kind = KnownWay::Kind::kPhysical, .way = {2, Ip("::")}};
  outlook.after = outlook.now;
  EXPECT_EQ(Written({outlook}),
            R"([{"address":"2001:db8:1::50","reason":"asked",)"
            R"("now":{"kind":"physical","interface":2},"after":{"kind":"physical","interface":2},)"
            R"("verdict":"stays","detail":"by interface 2, on the link, as today"}])");
}

TEST_F(ForecastAsJson, OfTheNewTunnelHasNoInterface) {
  Outlook outlook = Of(Asked("192.168.5.5"), ForecastVerdict::kTunnel);
  outlook.cause = Cause::kNetworkTaken;
  outlook.networks = {"128.0.0.0/1"};
  outlook.now = stays_.now;
  outlook.after = KnownWay{.kind = KnownWay::Kind::kTunnel, .way = {}};
  EXPECT_EQ(
      Written({outlook}),
      R"([{"address":"192.168.5.5","reason":"asked",)"
      R"("now":{"kind":"physical","interface":2,"next_hop":"192.168.77.1"},)"
      R"("after":{"kind":"tunnel"},"verdict":"tunnel",)"
      R"("detail":"its packets would leave by the tunnel, which takes 128.0.0.0/1",)"
      R"("fix":"keep its network out of AllowedIPs and Address: only public IPv4 addresses are )"
      R"(pinned"}])");
}

TEST_F(ForecastAsJson, OfAnotherTunnelHasItsInterface) {
  Outlook outlook = Of(Asked("203.0.113.5"), ForecastVerdict::kMoves);
  outlook.cause = Cause::kNowhere;
  outlook.now = {.kind = KnownWay::Kind::kTunnel, .way = {40, Ip("10.8.0.1")}};
  outlook.after = KnownWay();
  EXPECT_EQ(
      Written({outlook}),
      R"([{"address":"203.0.113.5","reason":"asked",)"
      R"("now":{"kind":"tunnel","interface":40,"next_hop":"10.8.0.1"},)"
      R"("after":{"kind":"none"},"verdict":"moves",)"
      R"("detail":"no route to it would be left; today its packets go by 10.8.0.1 on interface )"
      R"(40, another tunnel"}])");
}

TEST_F(ForecastAsJson, LeavesOutWaysThatAreNotKnown) {
  Subject subject = Asked("203.0.113.5");
  subject.reason = SubjectReason::kSetting;
  Outlook outlook = Of(subject, ForecastVerdict::kUnknown);
  outlook.cause = Cause::kTableUnread;
  EXPECT_EQ(Written({outlook}),
            R"([{"address":"203.0.113.5","reason":"setting","verdict":"unknown",)"
            R"("detail":"the routes cannot be read"}])");
  outlook.cause = Cause::kNoWayToday;
  outlook.now = KnownWay();
  EXPECT_EQ(Written({outlook}),
            R"([{"address":"203.0.113.5","reason":"setting","now":{"kind":"none"},)"
            R"("verdict":"unknown","detail":"no route leads to it today"}])");
}

TEST_F(ForecastAsJson, KeepsTheOrderOfTheOutlooks) {
  Subject subject = Asked("198.51.100.9");
  subject.reason = SubjectReason::kRdpSession;
  Outlook blocked = Of(subject, ForecastVerdict::kBlocked);
  blocked.cause = Cause::kSlashZero;
  blocked.networks = {"0.0.0.0/0"};
  blocked.now = stays_.now;
  EXPECT_EQ(
      Written({stays_, blocked}),
      R"([{"address":"203.0.113.5","reason":"rdp_connection","local":"192.168.77.2",)"
      R"("now":{"kind":"physical","interface":2,"next_hop":"192.168.77.1"},)"
      R"("after":{"kind":"physical","interface":2,"next_hop":"192.168.77.1"},"verdict":"stays",)"
      R"("detail":"by 192.168.77.1 on interface 2, as today"},)"
      R"({"address":"198.51.100.9","reason":"rdp_session",)"
      R"("now":{"kind":"physical","interface":2,"next_hop":"192.168.77.1"},"verdict":"blocked",)"
      R"("detail":"AllowedIPs has 0.0.0.0/0 and one peer: the WireGuard library blocks everything )"
      R"(outside the tunnel; the address is what the client says of itself and proves nothing )"
      R"(about the person","fix":"With 0.0.0.0/1, 128.0.0.0/1 it does not, but DNS and IPv6 may )"
      R"(then leak, and whoever is not pinned is lost to the tunnel"}])");
}

TEST_F(ForecastAsJson, OfNobodyIsAnEmptyList) { EXPECT_EQ(Written({}), "[]"); }

}  // namespace
}  // namespace veltrane
