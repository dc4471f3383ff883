#include "client/forecast/worlds.h"

#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace veltrane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Choices = std::array<std::size_t, 4>;

KnownSettings Settings(KnownValue guard, KnownValue bypass_switch, KnownValue address,
                       KnownValue addresses) {
  KnownSettings settings;
  settings.values = {std::move(guard), std::move(bypass_switch), std::move(address),
                     std::move(addresses)};
  return settings;
}

// The only world of settings that are all known.
World OnlyWorld(const KnownSettings& settings) {
  const std::vector<World> worlds = ListWorlds(settings);
  EXPECT_EQ(worlds.size(), 1U);
  return worlds.front();
}

World WithGuard(const std::string& value) { return OnlyWorld(Settings(value, "", "", "")); }
World WithSwitch(const std::string& value, const std::string& address) {
  return OnlyWorld(Settings("", value, address, ""));
}

TEST(ListedWorlds, OfNoSettingsIsOneWithoutGuardAndBypass) {
  const World world = OnlyWorld(Settings("", "", "", ""));
  EXPECT_FALSE(world.guard);
  EXPECT_FALSE(world.bypass);
  EXPECT_THAT(world.named, IsEmpty());
  EXPECT_FALSE(world.names_other);
  EXPECT_FALSE(world.names_subject);
  EXPECT_FALSE(world.names_unpinnable);
  EXPECT_FALSE(world.in_remote_session);
  EXPECT_FALSE(world.guard_overridden);
  EXPECT_EQ(world.choices, (Choices{0, 0, 0, 0}));
}

TEST(ListedWorlds, HaveTheGuardOnForOneTrueYesAndOnInAnyCase) {
  EXPECT_TRUE(WithGuard("1").guard);
  EXPECT_TRUE(WithGuard("true").guard);
  EXPECT_TRUE(WithGuard("YES").guard);
  EXPECT_TRUE(WithGuard("On").guard);
}

TEST(ListedWorlds, HaveTheGuardOffForAnythingElse) {
  EXPECT_FALSE(WithGuard("0").guard);
  EXPECT_FALSE(WithGuard("enabled").guard);
  EXPECT_FALSE(WithGuard(" 1").guard);
}

TEST(ListedWorlds, HaveTheBypassOnWhenTheSwitchSaysSo) {
  EXPECT_TRUE(WithSwitch("1", "").bypass);
  EXPECT_TRUE(WithSwitch("TRUE", "").bypass);
  EXPECT_TRUE(WithSwitch("Yes", "").bypass);
}

TEST(ListedWorlds, HaveTheBypassOffWhenTheSwitchSaysSoInSpiteOfAList) {
  EXPECT_FALSE(WithSwitch("0", "203.0.113.5").bypass);
  EXPECT_FALSE(WithSwitch("False", "203.0.113.5").bypass);
  EXPECT_FALSE(WithSwitch("NO", "203.0.113.5").bypass);
}

TEST(ListedWorlds, IgnoreASwitchThatIsNoWordOfTheService) {
  EXPECT_FALSE(WithSwitch("on", "").bypass);
  EXPECT_TRUE(WithSwitch("off", "203.0.113.5").bypass);
  EXPECT_TRUE(WithSwitch(" 0", "203.0.113.5").bypass);
}

TEST(ListedWorlds, HaveTheBypassOnForAListThatIsNotEmpty) {
  EXPECT_TRUE(OnlyWorld(Settings("", "", "203.0.113.5", "")).bypass);
  EXPECT_TRUE(OnlyWorld(Settings("", "", "", "203.0.113.5")).bypass);
}

TEST(ListedWorlds, HaveTheBypassOnForAListOfSeparatorsThatNamesNobody) {
  const World world = OnlyWorld(Settings("", "", " ,;", ""));
  EXPECT_TRUE(world.bypass);
  EXPECT_THAT(world.named, IsEmpty());
}

TEST(ListedWorlds, NameTheTokensOfBothListsInTheirOrder) {
  const World world = OnlyWorld(
      Settings("", "", "203.0.113.5;office.example", "198.51.100.9, 203.0.113.5\t10.0.0.1"));
  EXPECT_THAT(world.named, ElementsAre("203.0.113.5", "office.example", "198.51.100.9",
                                       "203.0.113.5", "10.0.0.1"));
}

TEST(ListedWorlds, HaveTheGuardOffOrOnWhenItIsNotKnown) {
  const std::vector<World> worlds = ListWorlds(Settings(std::nullopt, "", "", ""));
  ASSERT_EQ(worlds.size(), 2U);
  EXPECT_FALSE(worlds[0].guard);
  EXPECT_EQ(worlds[0].choices, (Choices{0, 0, 0, 0}));
  EXPECT_TRUE(worlds[1].guard);
  EXPECT_EQ(worlds[1].choices, (Choices{1, 0, 0, 0}));
}

TEST(ListedWorlds, HaveTheSwitchAbsentOnOrOffWhenItIsNotKnown) {
  const std::vector<World> worlds = ListWorlds(Settings("", std::nullopt, "", ""));
  ASSERT_EQ(worlds.size(), 3U);
  EXPECT_FALSE(worlds[0].bypass);
  EXPECT_TRUE(worlds[1].bypass);
  EXPECT_FALSE(worlds[2].bypass);
  EXPECT_EQ(worlds[2].choices, (Choices{0, 2, 0, 0}));
}

TEST(ListedWorlds, LetAListDecideWhereAnUnknownSwitchIsAbsent) {
  const std::vector<World> worlds = ListWorlds(Settings("", std::nullopt, "203.0.113.5", ""));
  ASSERT_EQ(worlds.size(), 3U);
  EXPECT_TRUE(worlds[0].bypass);
  EXPECT_TRUE(worlds[1].bypass);
  EXPECT_FALSE(worlds[2].bypass);
}

TEST(ListedWorlds, HaveAnUnknownListEmptyOrWithSomebodyElseOrTheSubjectOrSomebodyUnpinnable) {
  const std::vector<World> worlds = ListWorlds(Settings("", "", std::nullopt, ""));
  ASSERT_EQ(worlds.size(), 4U);
  EXPECT_FALSE(worlds[0].bypass);
  EXPECT_FALSE(worlds[0].names_other);
  EXPECT_FALSE(worlds[0].names_subject);
  EXPECT_FALSE(worlds[0].names_unpinnable);
  EXPECT_TRUE(worlds[1].bypass);
  EXPECT_TRUE(worlds[1].names_other);
  EXPECT_FALSE(worlds[1].names_subject);
  EXPECT_FALSE(worlds[1].names_unpinnable);
  EXPECT_TRUE(worlds[2].bypass);
  EXPECT_FALSE(worlds[2].names_other);
  EXPECT_TRUE(worlds[2].names_subject);
  EXPECT_FALSE(worlds[2].names_unpinnable);
  EXPECT_TRUE(worlds[3].bypass);
  EXPECT_FALSE(worlds[3].names_other);
  EXPECT_FALSE(worlds[3].names_subject);
  EXPECT_TRUE(worlds[3].names_unpinnable);
  EXPECT_EQ(worlds[3].choices, (Choices{0, 0, 3, 0}));
}

TEST(ListedWorlds, KeepTheNamesOfTheOtherListWhenOneIsNotKnown) {
  for (const World& world : ListWorlds(Settings("", "", "203.0.113.5", std::nullopt))) {
    EXPECT_TRUE(world.bypass);
    EXPECT_THAT(world.named, ElementsAre("203.0.113.5"));
    EXPECT_EQ(world.choices[2], 0U);
  }
}

TEST(ListedWorlds, ObeyTheSwitchWhateverAnUnknownListIs) {
  for (const World& world : ListWorlds(Settings("", "0", std::nullopt, std::nullopt))) {
    EXPECT_FALSE(world.bypass);
  }
  for (const World& world : ListWorlds(Settings("", "1", std::nullopt, std::nullopt))) {
    EXPECT_TRUE(world.bypass);
  }
}

TEST(ListedWorlds, NameWhomEitherOfTwoUnknownListsDoes) {
  int other = 0;
  int subject = 0;
  int unpinnable = 0;
  int other_and_subject = 0;
  for (const World& world : ListWorlds(Settings("", "", std::nullopt, std::nullopt))) {
    other += world.names_other ? 1 : 0;
    subject += world.names_subject ? 1 : 0;
    unpinnable += world.names_unpinnable ? 1 : 0;
    other_and_subject += world.names_other && world.names_subject ? 1 : 0;
  }
  EXPECT_EQ(other, 7);
  EXPECT_EQ(subject, 7);
  EXPECT_EQ(unpinnable, 7);
  EXPECT_EQ(other_and_subject, 2);
}

TEST(ListedWorlds, NameTheSubjectAndSomebodyUnpinnableWhenTwoUnknownListsDo) {
  int both = 0;
  for (const World& world : ListWorlds(Settings("", "", std::nullopt, std::nullopt))) {
    if (world.names_subject && world.names_unpinnable) ++both;
  }
  EXPECT_EQ(both, 2);
}

TEST(ListedWorlds, AreEveryCombinationOnce) {
  const std::vector<World> worlds =
      ListWorlds(Settings(std::nullopt, std::nullopt, std::nullopt, std::nullopt));
  std::set<Choices> choices;
  for (const World& world : worlds) choices.insert(world.choices);
  EXPECT_EQ(worlds.size(), 96U);  // 2 * 3 * 4 * 4
  EXPECT_EQ(choices.size(), 96U);
}

TEST(ListedWorlds, DifferInNothingElseWhenTheyDifferInTheChoiceOfTheGuard) {
  const std::vector<World> worlds =
      ListWorlds(Settings(std::nullopt, std::nullopt, std::nullopt, "203.0.113.5"));
  for (const World& off : worlds) {
    if (off.guard) continue;
    for (const World& on : worlds) {
      if (!on.guard ||
          !std::equal(off.choices.begin() + 1, off.choices.end(), on.choices.begin() + 1)) {
        continue;
      }
      EXPECT_EQ(off.bypass, on.bypass);
      EXPECT_EQ(off.named, on.named);
      EXPECT_EQ(off.names_other, on.names_other);
      EXPECT_EQ(off.names_subject, on.names_subject);
      EXPECT_EQ(off.names_unpinnable, on.names_unpinnable);
    }
  }
}

TEST(ListedWorlds, AreAllInARemoteSessionWhenTheServiceIs) {
  KnownSettings settings = Settings(std::nullopt, "", "", "");
  settings.in_remote_session = true;
  for (const World& world : ListWorlds(settings)) {
    EXPECT_TRUE(world.in_remote_session);
    EXPECT_FALSE(world.guard_overridden);
  }
}

TEST(ListedWorlds, HaveTheMachinesGuardOverriddenInARemoteSessionWithoutGuard) {
  KnownSettings settings = Settings("0", "", "", "");
  settings.in_remote_session = true;
  settings.machine_guard = true;
  EXPECT_TRUE(OnlyWorld(settings).guard_overridden);
}

TEST(ListedWorlds, HaveNothingOverriddenWhereTheGuardIsOn) {
  KnownSettings settings = Settings("1", "", "", "");
  settings.in_remote_session = true;
  settings.machine_guard = true;
  EXPECT_FALSE(OnlyWorld(settings).guard_overridden);
}

TEST(ListedWorlds, HaveNothingOverriddenOutsideOfARemoteSession) {
  KnownSettings settings = Settings("0", "", "", "");
  settings.machine_guard = true;
  EXPECT_FALSE(OnlyWorld(settings).guard_overridden);
}

TEST(ListedWorlds, HaveAnUnknownGuardOverriddenWhereItIsOff) {
  KnownSettings settings = Settings(std::nullopt, "", "", "");
  settings.in_remote_session = true;
  settings.machine_guard = true;
  const std::vector<World> worlds = ListWorlds(settings);
  ASSERT_EQ(worlds.size(), 2U);
  EXPECT_TRUE(worlds[0].guard_overridden);
  EXPECT_FALSE(worlds[1].guard_overridden);
}

TEST(BypassSwitch, IsOnOffOrIgnored) {
  EXPECT_EQ(ParseBypassSwitch("1"), true);
  EXPECT_EQ(ParseBypassSwitch("True"), true);
  EXPECT_EQ(ParseBypassSwitch("YES"), true);
  EXPECT_EQ(ParseBypassSwitch("0"), false);
  EXPECT_EQ(ParseBypassSwitch("FALSE"), false);
  EXPECT_EQ(ParseBypassSwitch("no"), false);
  EXPECT_EQ(ParseBypassSwitch(""), std::nullopt);
  EXPECT_EQ(ParseBypassSwitch("on"), std::nullopt);
  EXPECT_EQ(ParseBypassSwitch("yes "), std::nullopt);
}

}  // namespace
}  // namespace veltrane
