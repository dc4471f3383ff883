#include "client/connect/caution.h"

#include <gtest/gtest.h>

#include "client/forecast/networks.h"

namespace veltrane {
namespace {

Outlook OutlookOf(const char* address, SubjectReason reason, ForecastVerdict verdict) {
  Outlook outlook;
  outlook.subject = {.address = *ParseAddress(address), .reason = reason, .local = {}};
  outlook.verdict = verdict;
  return outlook;
}

// Everybody who is connected over Remote Desktop is found.
Survey CompleteSurvey(std::size_t rdp_connections = 0, std::size_t remote_sessions = 0) {
  Survey survey;
  survey.all_connections_read = true;
  survey.rdp_connections = rdp_connections;
  survey.remote_sessions = remote_sessions;
  return survey;
}

const Prompt kAtTheMachine;

Prompt InARemoteSession() {
  Prompt prompt;
  prompt.remote_session = true;
  return prompt;
}

Prompt OverSsh() {
  Prompt prompt;
  prompt.over_ssh = true;
  return prompt;
}

Prompt OverWinRm() {
  Prompt prompt;
  prompt.over_winrm = true;
  return prompt;
}

// The same prompt when a connection of this kind has been found.
Prompt From(const char* address, SubjectReason reason, Prompt prompt) {
  prompt.connections.push_back({.address = *ParseAddress(address), .reason = reason, .local = {}});
  return prompt;
}

// The same prompt when the command line names an address.
Prompt Named(const char* address, Prompt prompt) {
  prompt.named.push_back(*ParseAddress(address));
  return prompt;
}

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
  const Caution caution = Weigh(
      CompleteSurvey(),
      {OutlookOf("203.0.113.5", SubjectReason::kRdpConnection, GetParam().verdict)}, kAtTheMachine);
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
            kAtTheMachine);
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
            kAtTheMachine);
  EXPECT_FALSE(caution.stops);
  EXPECT_EQ(caution.reason, "");
  EXPECT_EQ(Addresses(caution), Strings{"203.0.113.5"});
}

TEST(Caution, StopsWhenItCannotBeReadWhoIsConnected) {
  const Caution caution = Weigh(Survey(), {}, kAtTheMachine);
  EXPECT_TRUE(caution.stops);
  EXPECT_EQ(caution.reason, "it cannot be read who is connected over Remote Desktop");
}

TEST(Caution, StopsInARemoteSessionWhoseConnectionIsNotFound) {
  const Caution caution =
      Weigh(CompleteSurvey(),
            {OutlookOf("203.0.113.5", SubjectReason::kSetting, ForecastVerdict::kStays)},
            InARemoteSession());
  EXPECT_TRUE(caution.stops);
  EXPECT_EQ(caution.reason,
            "this is a Remote Desktop session, but the connection that it comes over is not to be "
            "found");
  EXPECT_FALSE(caution.origin_is_missing);
}

TEST(Caution, GoesOnInARemoteSessionWhoseConnectionStays) {
  EXPECT_FALSE(
      Weigh(CompleteSurvey(1, 1),
            {OutlookOf("203.0.113.5", SubjectReason::kRdpConnection, ForecastVerdict::kStays)},
            InARemoteSession())
          .stops);
}

TEST(Caution, StopsWhenThereAreFewerConnectionsThanRemoteSessions) {
  const Caution caution =
      Weigh(CompleteSurvey(1, 2),
            {OutlookOf("203.0.113.5", SubjectReason::kRdpConnection, ForecastVerdict::kStays)},
            InARemoteSession());
  EXPECT_TRUE(caution.stops);
  EXPECT_EQ(caution.reason,
            "somebody is connected whom the forecast does not see (active remote sessions: 2, "
            "Remote Desktop connections: 1)");
  EXPECT_FALSE(caution.origin_is_missing);
}

TEST(Caution, StopsForARemoteSessionAlsoAtTheMachine) {
  EXPECT_TRUE(Weigh(CompleteSurvey(0, 1), {}, kAtTheMachine).stops);
}

TEST(Caution, GoesOnWithMoreConnectionsThanRemoteSessions) {
  EXPECT_FALSE(Weigh(CompleteSurvey(2, 1), {}, InARemoteSession()).stops);
}

struct OverCase {
  const char* name;
  SubjectReason reason;
  Prompt (*prompt)();
};

class ThePromptsConnection : public testing::TestWithParam<OverCase> {};

TEST_P(ThePromptsConnection, StopsTheConnectWhenItWouldNotStay) {
  const SubjectReason reason = GetParam().reason;
  const Caution caution =
      Weigh(CompleteSurvey(), {OutlookOf("203.0.113.5", reason, ForecastVerdict::kTunnel)},
            From("203.0.113.5", reason, GetParam().prompt()));
  EXPECT_TRUE(caution.stops);
  EXPECT_EQ(caution.reason, "somebody who is connected now would not stay");
  EXPECT_EQ(Addresses(caution), Strings{"203.0.113.5"});
}

TEST_P(ThePromptsConnection, DoesNotStopItWhenItStays) {
  const SubjectReason reason = GetParam().reason;
  EXPECT_FALSE(Weigh(CompleteSurvey(), {OutlookOf("2001:db8::5", reason, ForecastVerdict::kStays)},
                     From("2001:db8::5", reason, GetParam().prompt()))
                   .stops);
}

TEST_P(ThePromptsConnection, IsMissingUnlessTheCommandLineSaysFromWhere) {
  EXPECT_TRUE(Weigh(CompleteSurvey(), {}, GetParam().prompt()).stops);
  EXPECT_TRUE(Weigh(CompleteSurvey(), {}, GetParam().prompt()).origin_is_missing);
  EXPECT_FALSE(Weigh(CompleteSurvey(),
                     {OutlookOf("203.0.113.5", SubjectReason::kAsked, ForecastVerdict::kStays)},
                     Named("203.0.113.5", GetParam().prompt()))
                   .stops);
}

INSTANTIATE_TEST_SUITE_P(Ways, ThePromptsConnection,
                         testing::Values(OverCase{"Ssh", SubjectReason::kSshConnection, OverSsh},
                                         OverCase{"WinRm", SubjectReason::kWinRmConnection,
                                                  OverWinRm}),
                         [](const auto& each) { return each.param.name; });

TEST(Caution, StopsWhenSshDoesNotSayWhereItsPeerIs) {
  EXPECT_EQ(Weigh(CompleteSurvey(), {}, OverSsh()).reason,
            "this prompt is reached over SSH, and SSH_CONNECTION does not say from where");
}

TEST(Caution, StopsWhenNoConnectionOfWinRmIsFound) {
  EXPECT_EQ(Weigh(CompleteSurvey(), {}, OverWinRm()).reason,
            "this prompt is reached over WinRM, and it cannot be found out from where");
}

TEST(Caution, StopsWhenTheProcessesCannotBeRead) {
  Prompt prompt;
  prompt.over_winrm.reset();
  const Caution caution = Weigh(CompleteSurvey(), {}, prompt);
  EXPECT_TRUE(caution.stops);
  EXPECT_EQ(caution.reason,
            "the processes cannot be read, so this prompt may be reached over WinRM from anywhere");
}

TEST(Caution, StopsWhenSomebodyWhomTheCommandLineNamesWouldNotStay) {
  const Caution caution = Weigh(
      CompleteSurvey(), {OutlookOf("203.0.113.5", SubjectReason::kAsked, ForecastVerdict::kTunnel)},
      Named("203.0.113.5", kAtTheMachine));
  EXPECT_TRUE(caution.stops);
  EXPECT_EQ(Addresses(caution), Strings{"203.0.113.5"});
}

TEST(Caution, StopsWhenHeIsNamedByTheSettingsToo) {
  EXPECT_TRUE(Weigh(CompleteSurvey(),
                    {OutlookOf("203.0.113.5", SubjectReason::kSetting, ForecastVerdict::kTunnel)},
                    Named("203.0.113.5", kAtTheMachine))
                  .stops);
}

}  // namespace
}  // namespace veltrane
