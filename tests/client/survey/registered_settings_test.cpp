#include "client/survey/registered_settings.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace veltrane {
namespace {

using Strings = std::vector<std::string>;

const std::string kAny = "(any)";  // what is not known
const StoredValue kAbsent{.error = 2, .text = ""};

StoredValue Stored(const std::string& text) { return {.error = 0, .text = text}; }
StoredValue Unread(std::uint32_t error) { return {.error = error, .text = ""}; }
StoredValue Expandable(const std::string& text) {
  return {.error = 0, .text = text, .expandable = true};
}

// Everything is proved and nothing is set.
RegisteredFacts ProvedFacts() {
  RegisteredFacts facts;
  facts.own = {.error = 2, .entries = {}};
  facts.own_is_proved = true;
  facts.stored_is_proved = true;
  facts.machine.fill(kAbsent);
  facts.account.fill(kAbsent);
  return facts;
}

std::string Known(const RegisteredFacts& facts, Setting setting) {
  return FindRegisteredSettings(facts).values[static_cast<std::size_t>(setting)].value_or(kAny);
}

// What is known of ADMIN_BYPASS_IP, and of the switch, with these stored values.
std::string KnownAddress(const RegisteredFacts& facts) { return Known(facts, Setting::kAddress); }
std::string KnownSwitch(const RegisteredFacts& facts) {
  return Known(facts, Setting::kBypassSwitch);
}

RegisteredFacts With(const StoredValue& machine, const StoredValue& account) {
  RegisteredFacts facts = ProvedFacts();
  facts.machine.fill(machine);
  facts.account.fill(account);
  return facts;
}

RegisteredFacts Naming(const Strings& entries) {
  RegisteredFacts facts = ProvedFacts();
  facts.own = {.error = 0, .entries = entries};
  return facts;
}

struct StoredCase {
  const char* name;
  StoredValue machine;
  StoredValue account;
  std::string address;     // what is known when the stored environments are proved
  std::string the_switch;  // likewise, of the switch
};

class StoredSettingsTable : public testing::TestWithParam<StoredCase> {};

TEST_P(StoredSettingsTable, DecidesAList) {
  EXPECT_EQ(KnownAddress(With(GetParam().machine, GetParam().account)), GetParam().address);
}

TEST_P(StoredSettingsTable, DecidesTheSwitch) {
  EXPECT_EQ(KnownSwitch(With(GetParam().machine, GetParam().account)), GetParam().the_switch);
}

// An entry without a value may hide the stored one, or may not.
TEST_P(StoredSettingsTable, DecidesAListToWhichTheServicesOwnValueGivesNone) {
  RegisteredFacts facts = With(GetParam().machine, GetParam().account);
  facts.own = {.error = 0, .entries = {"ADMIN_BYPASS_IP="}};
  EXPECT_EQ(KnownAddress(facts), GetParam().address);
  facts.stored_is_proved = false;
  EXPECT_EQ(KnownAddress(facts), kAny);
}

TEST_P(StoredSettingsTable, ProvesNothingWhenItMayHaveChangedSinceWindowsStarted) {
  RegisteredFacts facts = With(GetParam().machine, GetParam().account);
  facts.stored_is_proved = false;
  EXPECT_EQ(KnownAddress(facts), kAny);
  EXPECT_EQ(KnownSwitch(facts), kAny);
}

TEST_P(StoredSettingsTable, ProvesNothingWhenTheServicesOwnValueIsNotProved) {
  RegisteredFacts facts = With(GetParam().machine, GetParam().account);
  facts.own_is_proved = false;
  EXPECT_EQ(KnownAddress(facts), kAny);
  EXPECT_EQ(KnownSwitch(facts), kAny);
}

TEST_P(StoredSettingsTable, DoesNotMatterForAListThatTheServicesOwnValueGives) {
  RegisteredFacts facts = With(GetParam().machine, GetParam().account);
  facts.own = {.error = 0, .entries = {"ADMIN_BYPASS_IP=own", "VELTRANE_POC_ADMIN_BYPASS=no"}};
  facts.stored_is_proved = false;
  EXPECT_EQ(KnownAddress(facts), "own");
  EXPECT_EQ(KnownSwitch(facts), "no");
}

const std::string kLong = std::string(512, 'x');

INSTANTIATE_TEST_SUITE_P(
    Of, StoredSettingsTable,
    testing::Values(
        StoredCase{"Nothing", kAbsent, kAbsent, "", ""},
        StoredCase{"TheMachine", Stored("m"), kAbsent, "m", "m"},
        StoredCase{"TheAccount", kAbsent, Stored("a"), "a", kAny},
        StoredCase{"BothAlike", Stored("m"), Stored("m"), "m", "m"},
        StoredCase{"BothDifferent", Stored("m"), Stored("a"), kAny, kAny},
        StoredCase{"AnEmptyMachine", Stored(""), kAbsent, "", ""},
        StoredCase{"AnEmptyAccount", kAbsent, Stored(""), "", ""},
        // An empty value of the account may hide the machine's in the process.
        StoredCase{"TheMachineAndAnEmptyAccount", Stored("m"), Stored(""), "m", kAny},
        StoredCase{"AnEmptyMachineAndTheAccount", Stored(""), Stored("a"), "a", kAny},
        StoredCase{"AnUnreadableMachine", Unread(5), kAbsent, kAny, kAny},
        StoredCase{"AnUnreadableAccount", kAbsent, Unread(5), kAny, kAny},
        StoredCase{"TheMachineAndAnUnreadableAccount", Stored("m"), Unread(5), kAny, kAny},
        StoredCase{"AnUnreadableMachineAndTheAccount", Unread(5), Stored("a"), kAny, kAny},
        // The service cannot read it either, but its process may have it.
        StoredCase{"AMissingKey", Unread(3), Stored("a"), kAny, kAny},
        StoredCase{"ARefusedCall", Unread(87), Unread(87), kAny, kAny},
        StoredCase{"ALongMachine", Unread(234), Stored("a"), kAny, kAny},
        StoredCase{"ALongAccount", kAbsent, Unread(234), kAny, kAny},
        StoredCase{"AMachineOfAnotherType", Unread(1630), Stored("a"), kAny, kAny},
        StoredCase{"AnExpandableMachine", Expandable("m"), kAbsent, kAny, kAny},
        StoredCase{"AnExpandableAccount", kAbsent, Expandable("a"), kAny, kAny},
        StoredCase{"TheMachineAndAnExpandableAccount", Stored("m"), Expandable("a"), kAny, kAny},
        // 512 characters count as absent in the process, and 16 in the switch.
        StoredCase{"AMachineOf512Characters", Stored(kLong), kAbsent, kLong, ""},
        StoredCase{"AMachineOf512CharactersAndTheAccount", Stored(kLong), Stored("a"), kAny, kAny},
        StoredCase{"TheMachineAndAnAccountOf512Characters", Stored("m"), Stored(kLong), "m", kAny}),
    [](const auto& each) { return each.param.name; });

TEST(RegisteredSettings, AreKnownOneByOne) {
  RegisteredFacts facts = ProvedFacts();
  facts.machine = {Stored("0"), Stored("1"), Stored("203.0.113.5"), Stored("203.0.113.6")};
  EXPECT_EQ(FindRegisteredSettings(facts).values,
            (std::array<KnownValue, 4>{"0", "1", "203.0.113.5", "203.0.113.6"}));
}

TEST(RegisteredSettings, AreThoseOfAServiceThatDoesNotRunInARemoteSession) {
  RegisteredFacts facts = ProvedFacts();
  facts.machine.fill(Stored("1"));
  EXPECT_FALSE(FindRegisteredSettings(facts).in_remote_session);
  EXPECT_FALSE(FindRegisteredSettings(facts).machine_guard);
}

TEST(RegisteredSettings, AreNamedByTheServicesOwnValueInAnyCase) {
  EXPECT_EQ(KnownAddress(Naming({"Admin_Bypass_Ip=203.0.113.5"})), "203.0.113.5");
}

TEST(RegisteredSettings, AreNotKnownWhenTheServicesOwnValueNamesThemTwiceAndDifferently) {
  EXPECT_EQ(KnownAddress(Naming({"ADMIN_BYPASS_IP=a", "admin_bypass_ip=b"})), kAny);
  EXPECT_EQ(KnownAddress(Naming({"ADMIN_BYPASS_IP=a", "admin_bypass_ip=a"})), "a");
}

TEST(RegisteredSettings, AreNotKnownWhenTheServicesOwnValueRefersToAnotherVariable) {
  EXPECT_EQ(KnownAddress(Naming({"ADMIN_BYPASS_IP=%OFFICE%"})), kAny);
}

TEST(RegisteredSettings, TakeASwitchOf16CharactersForAbsent) {
  EXPECT_EQ(KnownSwitch(Naming({"VELTRANE_POC_ADMIN_BYPASS=123456789012345"})), "123456789012345");
  EXPECT_EQ(KnownSwitch(Naming({"VELTRANE_POC_ADMIN_BYPASS=1234567890123456"})), "");
}

TEST(RegisteredSettings, CountCharactersAsWindowsDoes) {
  std::string umlauts;
  for (int i = 0; i < 8; ++i) umlauts += "\xC3\xBC";
  const std::string clef = "\xF0\x9D\x84\x9E";  // two UTF-16 code units
  EXPECT_EQ(KnownSwitch(Naming({"VELTRANE_POC_ADMIN_BYPASS=" + umlauts})), umlauts);
  EXPECT_EQ(KnownSwitch(Naming({"VELTRANE_POC_ADMIN_BYPASS=" + umlauts + clef + clef + clef})),
            umlauts + clef + clef + clef);
  EXPECT_EQ(
      KnownSwitch(Naming({"VELTRANE_POC_ADMIN_BYPASS=" + umlauts + clef + clef + clef + clef})),
      "");
}

TEST(RegisteredSettings, PassOverAnOwnValueOf512CharactersForTheMachineScope) {
  RegisteredFacts facts = Naming({"ADMIN_BYPASS_IP=" + std::string(511, 'x')});
  facts.machine.fill(Stored("m"));
  EXPECT_EQ(KnownAddress(facts), std::string(511, 'x'));
  facts.own.entries = {"ADMIN_BYPASS_IP=" + std::string(512, 'x')};
  EXPECT_EQ(KnownAddress(facts), "m");
}

TEST(RegisteredSettings, DoNotTakeTheSwitchFromTheScopesAfterTheProcess) {
  RegisteredFacts facts = Naming({"VELTRANE_POC_ADMIN_BYPASS="});
  facts.machine.fill(Stored("1"));
  EXPECT_EQ(KnownSwitch(facts), kAny);
  facts.machine.fill(Stored(""));
  EXPECT_EQ(KnownSwitch(facts), "");
}

TEST(ValuesSeen, AreTheOwnTheMachinesAndTheAccounts) {
  RegisteredFacts facts = Naming({"ADMIN_BYPASS_IP=a", "ADMIN_BYPASS_IP=b"});
  facts.machine.fill(Stored("m"));
  facts.account.fill(Stored("c"));
  EXPECT_EQ(ListValuesSeen(facts, Setting::kAddress), (Strings{"a", "b", "m", "c"}));
}

}  // namespace
}  // namespace veltrane
