#include "setup/wishes.h"

#include "tests/setup/on_installing_machine.h"

namespace veltrane {

bool operator==(const WantedSetting& left, const WantedSetting& right) {
  return left.name == right.name && left.value == right.value;
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class WishesOf : public OnInstallingMachine {
 protected:
  Wishes Read(const std::wstring& property, const std::wstring& value) {
    machine.installer.Set(property, value);
    return ReadWishes(InstallerSession(1));
  }
};

TEST_F(WishesOf, NoPropertyAreNone) {
  const Wishes wishes = ReadWishes(InstallerSession(1));
  EXPECT_THAT(wishes.settings, IsEmpty());
  EXPECT_EQ(wishes.start_type, std::nullopt);
  EXPECT_FALSE(wishes.stop_tunnel);
  EXPECT_EQ(wishes.problem, "");
}

TEST_F(WishesOf, AddressesAreTheListWithCommas) {
  EXPECT_THAT(Read(L"ADMIN_BYPASS_IPS", L" 203.0.113.5;198.51.100.7 ").settings,
              ElementsAre(WantedSetting{L"ADMIN_BYPASS_IPS", L"203.0.113.5,198.51.100.7"}));
}

TEST_F(WishesOf, AnAddressThatCannotBeParsedAreAProblem) {
  EXPECT_EQ(Read(L"ADMIN_BYPASS_IPS", L"203.0.113.5,office").problem,
            "ADMIN_BYPASS_IPS: \"office\" is not an IPv4 address such as 203.0.113.5");
}

TEST_F(WishesOf, SeparatorsAloneAreAProblem) {
  EXPECT_EQ(Read(L"ADMIN_BYPASS_IPS", L" ,;").problem, "ADMIN_BYPASS_IPS names no address");
}

TEST_F(WishesOf, MoreAddressesThanTheServiceReadsAreAProblem) {
  std::wstring list;
  for (int i = 0; i < 42; ++i) list += L"203.0.113.5,";  // 42 * 12 - 1 characters without the last
  EXPECT_EQ(Read(L"ADMIN_BYPASS_IPS", list).problem,
            "ADMIN_BYPASS_IPS is longer than 500 characters");
}

TEST_F(WishesOf, AGuardAreItsSwitch) {
  EXPECT_THAT(Read(L"DISABLE_DEFAULT_ROUTE", L"1").settings,
              ElementsAre(WantedSetting{L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1"}));
  EXPECT_THAT(Read(L"DISABLE_DEFAULT_ROUTE", L"0").settings,
              ElementsAre(WantedSetting{L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"0"}));
  EXPECT_EQ(Read(L"DISABLE_DEFAULT_ROUTE", L"2").problem,
            "DISABLE_DEFAULT_ROUTE: \"2\" is neither 1 nor 0 nor none");
}

TEST_F(WishesOf, ATimeAreItsSeconds) {
  EXPECT_THAT(Read(L"AUTO_STOP_SECONDS", L"2147483647").settings,
              ElementsAre(WantedSetting{L"VELTRANE_POC_AUTO_STOP_SECONDS", L"2147483647"}));
}

TEST_F(WishesOf, ATimeThatIsNoNumberAreAProblem) {
  for (const wchar_t* text : {L"2147483648", L"-1", L"10 min", L" 10", L"+1"}) {
    EXPECT_THAT(Read(L"AUTO_STOP_SECONDS", text).problem,
                testing::EndsWith("\" is neither a number from 0 to 2147483647 nor none"));
  }
}

TEST_F(WishesOf, NoneTakeASettingAway) {
  machine.installer.Set(L"ADMIN_BYPASS_IPS", L"none");
  machine.installer.Set(L"DISABLE_DEFAULT_ROUTE", L"NONE");
  EXPECT_THAT(Read(L"AUTO_STOP_SECONDS", L"None").settings,
              ElementsAre(WantedSetting{L"ADMIN_BYPASS_IPS", std::nullopt},
                          WantedSetting{L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", std::nullopt},
                          WantedSetting{L"VELTRANE_POC_AUTO_STOP_SECONDS", std::nullopt}));
}

TEST_F(WishesOf, AStartTypeAreAutoOrDemand) {
  EXPECT_EQ(Read(L"START", L"auto").start_type, 2U);
  EXPECT_EQ(Read(L"START", L"Demand").start_type, 3U);
  EXPECT_EQ(Read(L"START", L"never").problem, "START: \"never\" is neither auto nor demand");
}

TEST_F(WishesOf, ATunnelAreToStopIt) {
  EXPECT_TRUE(Read(L"TUNNEL", L"STOP").stop_tunnel);
  EXPECT_EQ(Read(L"TUNNEL", L"keep").problem, "TUNNEL: \"keep\" is not stop");
}

TEST_F(WishesOf, SeveralBadPropertiesNameTheFirstProblem) {
  machine.installer.Set(L"START", L"never");
  EXPECT_EQ(Read(L"ADMIN_BYPASS_IPS", L"x").problem,
            "ADMIN_BYPASS_IPS: \"x\" is not an IPv4 address such as 203.0.113.5");
}

TEST(Settings, ComeLastWhenTheyAreNew) {
  EXPECT_THAT(WithSettings({L"A=1"}, {{L"B", L"2"}, {L"C", L"3"}}),
              ElementsAre(L"A=1", L"B=2", L"C=3"));
}

TEST(Settings, TakeThePlaceOfTheirNameInAnyCase) {
  EXPECT_THAT(WithSettings({L"a=1", L"B=2", L"A=3"}, {{L"A", L"4"}}), ElementsAre(L"A=4", L"B=2"));
}

TEST(Settings, AreTakenAwayWithAllEntriesOfTheirName) {
  EXPECT_THAT(WithSettings({L"a=1", L"B=2", L"A=3"}, {{L"A", std::nullopt}}), ElementsAre(L"B=2"));
}

TEST(Settings, LeaveLongerNamesAndOddEntriesAlone) {
  EXPECT_THAT(
      WithSettings({L"ADMIN_BYPASS_IP=1", L"no equals sign", L"=C:=C:\\"},
                   {{L"ADMIN_BYPASS_IPS", L"2"}}),
      ElementsAre(L"ADMIN_BYPASS_IP=1", L"no equals sign", L"=C:=C:\\", L"ADMIN_BYPASS_IPS=2"));
}

}  // namespace
}  // namespace veltrane
