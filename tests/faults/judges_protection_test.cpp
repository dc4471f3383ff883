// The judge of who is still reachable.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/faults/good_accounts.h"
#include "tests/faults/judges.h"
#include "tests/simulated/calls.h"

namespace veltrane::faults {
namespace {

using testing::ElementsAre;

// Two administrators of two settings, the second of whom is not pinned, and not selected either.
Account WithOneUnpinned() {
  Account account = GoodConnect();
  account.administrators.emplace_back("198.51.100.7");
  account.settings.push_back({"HKLM ADMIN_BYPASS_IPS", "198.51.100.7"});
  return account;
}

std::string ReplyWith(const std::vector<std::string>& bypass) {
  return Reply(kConnected, With(kFreshBypass, bypass));
}

TEST(JudgeProtection, ComplainsOfAnAdministratorWhoIsNotPinned) {
  EXPECT_THAT(JudgeProtection(WithOneUnpinned(), std::nullopt),
              ElementsAre("connected, and not pinned: 198.51.100.7"));
}

struct Loss {
  const char* call;
  const char* details;
  bool excused;
};

class LossOfAnAdministrator : public testing::TestWithParam<Loss> {};

TEST_P(LossOfAnAdministrator, IsExcusedOnlyByACallAboutHim) {
  const Account account = Struck(WithOneUnpinned(), GetParam().call, GetParam().details);
  EXPECT_EQ(JudgeProtection(account, Failing(GetParam().call)).empty(), GetParam().excused);
}

INSTANTIATE_TEST_SUITE_P(
    JudgeProtection, LossOfAnAdministrator,
    testing::Values(Loss{"ParseIpv4", "198.51.100.7", true},
                    Loss{"ParseIpv4", "203.0.113.5", false}, Loss{"ParseIpv4", "8.8.8.8", false},
                    Loss{"FormatIpv4", "198.51.100.7", true},
                    Loss{"FormatIpv4", "192.168.1.1", false},
                    Loss{"WideToUtf8", "198.51.100.7", true}, Loss{"WideToUtf8", "", false},
                    Loss{"WideToUtf8", "203.0.113.5", false},
                    Loss{"ReadRegistryText", "HKLM ADMIN_BYPASS_IPS", true},
                    Loss{"ReadRegistryText", "HKLM ADMIN_BYPASS_IP", false},
                    Loss{"ReadRegistryText", "HKCU ADMIN_BYPASS_IPS", false},
                    Loss{"ReadProcessVariable", "ADMIN_BYPASS_IPS", false},
                    Loss{"ReadTcpConnections", "", false}, Loss{"ReadSessions", "", false}));

TEST(JudgeProtection, ExcusesNobodyWhomTheReplyNames) {
  Account account = Struck(WithOneUnpinned(), "ParseIpv4", "198.51.100.7");
  account.exchanges[0].reply =
      ReplyWith({"enabled", "attempted", "applied",
                 R"("selected_admin_bypass_ips":["198.51.100.7","203.0.113.5"])"});
  EXPECT_FALSE(JudgeProtection(account, Failing("ParseIpv4")).empty());
}

TEST(JudgeProtection, ExcusesOnRemoteDesktopWhoIsNotInTheListThatWasRead) {
  Account account = WithOneUnpinned();
  account.settings.pop_back();
  account.connections = {"203.0.113.5", "198.51.100.7"};
  account = Struck(account, "ReadTcpConnections");
  const Fault half = Failing("ReadTcpConnections", simulated::kOnlyHalf);
  EXPECT_EQ(JudgeProtection(account, half), kNone);
  account.after.routes.clear();
  EXPECT_THAT(JudgeProtection(account, half),
              ElementsAre("connected, and not pinned: 203.0.113.5"));
  EXPECT_EQ(JudgeProtection(account, Failing("ReadTcpConnections")), kNone);
}

TEST(JudgeProtection, ExcusesABypassThatIsOffOnlyWhenNothingWasLeftThatTurnsItOn) {
  Account account = GoodConnect();
  account.after.routes.clear();
  account.exchanges[0].reply = ReplyWith({});
  const Fault fault = Failing("ReadRegistryText");
  account = Struck(account, "ReadRegistryText", "HKLM ADMIN_BYPASS_IP");
  EXPECT_EQ(JudgeProtection(account, fault), kNone);
  account.settings.push_back({"HKLM ADMIN_BYPASS_IPS", "198.51.100.7"});
  EXPECT_FALSE(JudgeProtection(account, fault).empty());
  account.settings.back() = {"VELTRANE_POC_ADMIN_BYPASS", "1"};
  EXPECT_FALSE(JudgeProtection(account, fault).empty());
}

TEST(JudgeProtection, CountsAMetricOf15AndNot16) {
  Account account = GoodConnect();
  account.after.routes = {"203.0.113.5/32 via 192.168.1.1 if 12 metric 15"};
  EXPECT_EQ(JudgeProtection(account, std::nullopt), kNone);
  account.after.routes = {"203.0.113.5/32 via 192.168.1.1 if 12 metric 16"};
  EXPECT_FALSE(JudgeProtection(account, std::nullopt).empty());
}

Account Guarded() {
  Account account = GoodConnect();
  account.guard = true;
  account.settings.push_back({"HKLM VELTRANE_POC_DISABLE_DEFAULT_ROUTE", "1"});
  return account;
}

TEST(JudgeProtection, ComplainsOfACatchAllUnderTheGuard) {
  Account account = Guarded();
  EXPECT_FALSE(JudgeProtection(account, std::nullopt).empty());
  account.after.files = {"active.conf for fra-1 under the guard"};
  account.after.routes.clear();
  EXPECT_EQ(JudgeProtection(account, std::nullopt), kNone);
}

TEST(JudgeProtection, ExpectsThePinsOfAGuardThatWasLost) {
  Account account = Struck(Guarded(), "WideToUtf8", "1");
  EXPECT_EQ(JudgeProtection(account, Failing("WideToUtf8")), kNone);
  account.after.routes.clear();
  EXPECT_FALSE(JudgeProtection(account, Failing("WideToUtf8")).empty());
}

TEST(JudgeProtection, ExpectsThePinsWhereATimerExpiredBeforeTheEndOfTheConnect) {
  Account account = GoodConnect();
  account.after.routes.clear();
  account.timer = kTimerFirst;
  EXPECT_FALSE(JudgeProtection(account, std::nullopt).empty());
  account.timer = kTimerLast;
  EXPECT_EQ(JudgeProtection(account, std::nullopt), kNone);
}

TEST(JudgeProtection, ExpectsThePinsOfAProcessThatEndsWhenItIsConnected) {
  Account account = Struck(GoodConnect(), "Thread.Start");
  account.ending = kSystemError;
  EXPECT_EQ(JudgeProtection(account, Failing("Thread.Start")), kNone);
  account.after.routes.clear();
  EXPECT_FALSE(JudgeProtection(account, Failing("Thread.Start")).empty());
}

}  // namespace
}  // namespace veltrane::faults
