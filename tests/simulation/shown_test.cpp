// What follows from what the machine shows to a connect.

#include "tests/simulation/shown.h"

#include <gtest/gtest.h>

namespace veltrane::simulation {
namespace {

using Texts = std::set<std::string>;

class ShownTest : public testing::Test {
 protected:
  ShownTest() {
    machine.routes.AddPhysicalNetwork();
    machine.environment.SetMachine(L"ADMIN_BYPASS_IP", L"203.0.113.5 192.168.1.10");
    machine.connections.Add(5, 3389, "198.51.100.7");
    machine.connections.Add(8, 3389, "198.51.100.8");
    machine.connections.Add(5, 22, "198.51.100.9");
    machine.sessions.AddActive(2, "9.9.9.9");
    machine.sessions.AddSession(3, 4);
    machine.sessions.SetClientAddress(3, "9.9.9.10");
  }

  void Make(const std::string& text, std::optional<std::uint32_t> failed = {}) {
    CallFacts call;
    call.text = text;
    call.name = text.substr(0, text.find(' '));
    call.failed = failed;
    shown.OnCall(machine, call);
  }

  void LookUp(const std::string& name) {
    Make("ReadProcessVariable " + name);
    Make("ReadRegistryText HKLM " + name);
    Make("ReadRegistryText HKCU " + name);
  }

  // The calls of a connect that reaches the bypass; one of them may fail.
  ShownFacts ShowAll(const std::string& failing = {}, std::uint32_t status = 5) {
    Make("IsRemoteSession");
    LookUp("VELTRANE_POC_DISABLE_DEFAULT_ROUTE");
    LookUp("VELTRANE_POC_AUTO_STOP_SECONDS");
    Make("ReadProcessVariable VELTRANE_POC_ADMIN_BYPASS");
    for (const char* name : {"ADMIN_BYPASS_IP", "ADMIN_BYPASS_IPS"}) LookUp(name);
    for (const char* text : {"ReadTcpConnections", "ActiveConsoleSession", "ReadSessions",
                             "ReadClientAddress 2", "FindBestRoute 8.8.8.8"}) {
      Make(text, text == failing ? std::optional(status) : std::nullopt);
    }
    return shown.Facts({});
  }

  simulated::Machine machine;
  Shown shown;
};

TEST_F(ShownTest, TheAdministratorsAreThoseOfTheSettingsAndOfRemoteDesktop) {
  const ShownFacts facts = ShowAll();
  EXPECT_TRUE(facts.Pins());
  EXPECT_EQ(facts.selected, (Texts{"198.51.100.7", "203.0.113.5", "9.9.9.9"}));
  EXPECT_EQ(facts.required, (Texts{"198.51.100.7", "203.0.113.5"}));
  EXPECT_EQ(facts.way, "192.168.1.1 if 12");
  EXPECT_EQ(shown.Facts({"203.0.113.5"}).required, (Texts{"198.51.100.7"}));
}

TEST_F(ShownTest, AListThatIsCutOffShowsItsBeginning) {
  machine.connections.Clear();
  machine.connections.Add(5, 3389, "198.51.100.7");
  machine.connections.Add(5, 3389, "198.51.100.8");
  EXPECT_EQ(ShowAll("ReadTcpConnections", simulated::kOnlyHalf).required,
            (Texts{"198.51.100.7", "203.0.113.5"}));
  EXPECT_EQ(ShowAll("ReadTcpConnections", simulated::kNothingAtAll).required,
            (Texts{"203.0.113.5"}));
}

TEST_F(ShownTest, WhatFailsShowsNothing) {
  EXPECT_EQ(ShowAll("ReadTcpConnections").required, (Texts{"203.0.113.5"}));
  EXPECT_EQ(ShowAll("ReadSessions").selected, (Texts{"198.51.100.7", "203.0.113.5"}));
  EXPECT_EQ(ShowAll("FindBestRoute 8.8.8.8").way, std::nullopt);
}

TEST_F(ShownTest, ASessionThatNobodyAskedAboutIsMissed) {
  ShowAll();
  Shown lazy;
  std::swap(shown, lazy);
  Make("ReadProcessVariable VELTRANE_POC_ADMIN_BYPASS");
  Make("ReadSessions");
  EXPECT_EQ(shown.Facts({}).selected, (Texts{"198.18.255.2"}));
}

TEST_F(ShownTest, AConsoleSessionThatIsNotToldIsNone) {
  machine.sessions.SetConsoleSession(3);
  EXPECT_EQ(ShowAll().selected, (Texts{"198.18.255.3", "198.51.100.7", "203.0.113.5", "9.9.9.9"}));
  EXPECT_EQ(ShowAll("ActiveConsoleSession").selected,
            (Texts{"198.51.100.7", "203.0.113.5", "9.9.9.9"}));
}

TEST_F(ShownTest, ASettingCountsInTheFirstScopeThatHasIt) {
  machine.environment.SetUser(L"VELTRANE_POC_AUTO_STOP_SECONDS", L"60");
  EXPECT_EQ(ShowAll().delay, 60);
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  machine.environment.SetProcess(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"0");
  shown = Shown();
  const ShownFacts facts = ShowAll();
  EXPECT_FALSE(facts.guard);
  EXPECT_TRUE(facts.guard_of_machine);
}

TEST_F(ShownTest, AValueThatCannotBeConvertedIsLost) {
  Make("ReadProcessVariable VELTRANE_POC_DISABLE_DEFAULT_ROUTE");
  machine.environment.SetMachine(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1");
  Make("ReadRegistryText HKLM VELTRANE_POC_DISABLE_DEFAULT_ROUTE");
  EXPECT_TRUE(shown.Facts({}).guard);
  Make("WideToUtf8 1", 1);
  EXPECT_FALSE(shown.Facts({}).guard);
}

TEST_F(ShownTest, AnAddressThatCannotBeReadIsUnsure) {
  Make("ParseIpv4 203.0.113.5", 1);
  Make("FormatIpv4 9.9.9.9", 1);
  Make("ParseIpv4 198.51.100.7");
  EXPECT_EQ(shown.Facts({}).unsure, (Texts{"203.0.113.5", "9.9.9.9"}));
}

}  // namespace
}  // namespace veltrane::simulation
