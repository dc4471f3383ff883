#include "client/connect/caution.h"

#include <gtest/gtest.h>

namespace veltrane {
namespace {

Outlook OutlookOf(const char* address, SubjectReason reason, ForecastVerdict verdict) {
  Outlook outlook;
  outlook.subject = {.address = *ParseAddress(address), .reason = reason, .local = {}};
  outlook.verdict = verdict;
  return outlook;
}

Survey CompleteSurvey() {
  Survey survey;
  survey.all_connections_read = true;
  return survey;
}

Prompt AtTheMachine() { return PromptOf(false, ""); }

std::vector<std::string> Addresses(const Caution& caution) {
  std::vector<std::string> addresses;
  for (const Outlook& outlook : caution.outlooks) {
    addresses.push_back(AddressText(outlook.subject.address));
  }
  return addresses;
}

using Strings = std::vector<std::string>;

struct ConnectedCase {
  ForecastVerdict verdict;
  bool stops;
};

class ConnectedPeer : public testing::TestWithParam<ConnectedCase> {};

TEST_P(ConnectedPeer, StopsTheConnectUnlessItStaysOrIsRefused) {
  const Caution caution =
      Weigh(CompleteSurvey(),
            {OutlookOf("203.0.113.5", SubjectReason::kRdpConnection, GetParam().verdict)},
            AtTheMachine());
  EXPECT_EQ(caution.stops, GetParam().stops);
  EXPECT_EQ(caution.reason, GetParam().stops ? "somebody who is connected now would not stay" : "");
}

INSTANTIATE_TEST_SUITE_P(Verdicts, ConnectedPeer,
                         testing::Values(ConnectedCase{ForecastVerdict::kBlocked, true},
                                         ConnectedCase{ForecastVerdict::kTunnel, true},
                                         ConnectedCase{ForecastVerdict::kMoves, true},
                                         ConnectedCase{ForecastVerdict::kUnknown, true},
                                         ConnectedCase{ForecastVerdict::kUndone, true},
                                         ConnectedCase{ForecastVerdict::kRefused, false},
                                         ConnectedCase{ForecastVerdict::kStays, false}));

TEST(Caution, IsAboutThoseWhoAreConnectedWhenThatStopsTheConnect) {
  const Caution caution =
      Weigh(CompleteSurvey(),
            {OutlookOf("203.0.113.9", SubjectReason::kSetting, ForecastVerdict::kBlocked),
             OutlookOf("203.0.113.5", SubjectReason::kRdpConnection, ForecastVerdict::kUnknown),
             OutlookOf("203.0.113.6", SubjectReason::kRdpConnection, ForecastVerdict::kTunnel),
             OutlookOf("203.0.113.7", SubjectReason::kRdpConnection, ForecastVerdict::kStays)},
            AtTheMachine());
  EXPECT_TRUE(caution.stops);
  EXPECT_EQ(Addresses(caution), (Strings{"203.0.113.6", "203.0.113.5"}));
}

TEST(Caution, IsAWarningAboutThoseWhoAreNotConnected) {
  const Caution caution =
      Weigh(CompleteSurvey(),
            {OutlookOf("203.0.113.5", SubjectReason::kSetting, ForecastVerdict::kTunnel),
             OutlookOf("203.0.113.6", SubjectReason::kSetting, ForecastVerdict::kRefused),
             OutlookOf("203.0.113.7", SubjectReason::kSetting, ForecastVerdict::kStays),
             OutlookOf("192.168.0.9", SubjectReason::kRdpSession, ForecastVerdict::kTunnel)},
            AtTheMachine());
  EXPECT_FALSE(caution.stops);
  EXPECT_EQ(caution.reason, "");
  EXPECT_EQ(Addresses(caution), Strings{"203.0.113.5"});
}

TEST(Caution, StopsWhenItCannotBeReadWhoIsConnected) {
  const Caution caution = Weigh(Survey(), {}, AtTheMachine());
  EXPECT_TRUE(caution.stops);
  EXPECT_EQ(caution.reason, "it cannot be read who is connected over Remote Desktop");
}

TEST(Caution, StopsInARemoteSessionWhoseConnectionIsNotFound) {
  const Caution caution =
      Weigh(CompleteSurvey(),
            {OutlookOf("203.0.113.5", SubjectReason::kSetting, ForecastVerdict::kStays)},
            PromptOf(true, ""));
  EXPECT_TRUE(caution.stops);
  EXPECT_EQ(caution.reason,
            "this is a Remote Desktop session, but the connection that it comes over is not to be "
            "found");
}

TEST(Caution, GoesOnInARemoteSessionWhoseConnectionStays) {
  EXPECT_FALSE(
      Weigh(CompleteSurvey(),
            {OutlookOf("203.0.113.5", SubjectReason::kRdpConnection, ForecastVerdict::kStays)},
            PromptOf(true, ""))
          .stops);
}

TEST(Caution, StopsWhenThePeerOfSshWouldNotStay) {
  const Caution caution = Weigh(
      CompleteSurvey(), {OutlookOf("203.0.113.5", SubjectReason::kAsked, ForecastVerdict::kTunnel)},
      PromptOf(false, "203.0.113.5 50123 192.168.1.10 22"));
  EXPECT_TRUE(caution.stops);
  EXPECT_EQ(Addresses(caution), Strings{"203.0.113.5"});
}

TEST(Caution, StopsWhenThePeerOfSshIsNamedByTheSettingsToo) {
  EXPECT_TRUE(Weigh(CompleteSurvey(),
                    {OutlookOf("203.0.113.5", SubjectReason::kSetting, ForecastVerdict::kTunnel)},
                    PromptOf(false, "203.0.113.5 50123 192.168.1.10 22"))
                  .stops);
}

TEST(Caution, GoesOnWhenThePeerOfSshStays) {
  EXPECT_FALSE(Weigh(CompleteSurvey(),
                     {OutlookOf("2001:db8::5", SubjectReason::kAsked, ForecastVerdict::kStays)},
                     PromptOf(false, "2001:db8::5 50123 2001:db8::10 22"))
                   .stops);
}

TEST(Caution, StopsWhenSshDoesNotSayWhereItsPeerIs) {
  const Caution caution = Weigh(CompleteSurvey(), {}, PromptOf(false, "UNKNOWN 65535 UNKNOWN 22"));
  EXPECT_TRUE(caution.stops);
  EXPECT_EQ(caution.reason,
            "this prompt is reached over SSH, and SSH_CONNECTION does not say from where");
}

}  // namespace
}  // namespace veltrane
