// The one machine, its call log and the switches of the calls.

#include "tests/simulated/machine.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/ipv4.h"
#include "platform/text.h"

namespace veltrane::simulated {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(SimulatedMachineDeathTest, BoundaryCallWithoutAMachineEndsTheProcess) {
  EXPECT_DEATH(UtcTicks(), "simulated machine: a boundary function was called while no machine");
}

TEST(SimulatedMachineDeathTest, SecondMachineEndsTheProcess) {
  const Machine machine;
  EXPECT_DEATH({ const Machine second; }, "simulated machine: a second machine was made");
}

TEST(SimulatedMachineDeathTest, UnknownCallNameEndsTheProcess) {
  Machine machine;
  EXPECT_DEATH(machine.Fail("CreateForwardRoute", 1, 5), "no boundary call named CreateForwardRou");
  EXPECT_DEATH(machine.calls.Count("Sleeping"), "no boundary call named Sleeping");
}

TEST(SimulatedMachineDeathTest, FailingACallThatCannotFailEndsTheProcess) {
  Machine machine;
  EXPECT_DEATH(machine.FailAlways("UtcTicks", 5), "UtcTicks cannot fail");
}

TEST(SimulatedMachine, IsReplacedByTheNextOneAfterItsEnd) {
  {
    Machine first;
    first.routes.AddPhysicalNetwork();
  }
  Machine second;
  EXPECT_EQ(&Machine::Current(), &second);
  EXPECT_THAT(second.routes.Texts(), IsEmpty());
}

TEST(SimulatedCalls, AreLoggedInOrderWithReadableTexts) {
  Machine machine;
  ReadForwardTable();
  CreateForwardRow(MakeRoute("203.0.113.5/32", "192.0.2.1", 12, 1));
  SleepMilliseconds(1000);
  RemoveFile(L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf");
  ReadRegistryText(RegistryRoot::kCurrentUser, L"Environment", L"ADMIN_BYPASS_IP", 2048);
  EXPECT_THAT(
      machine.calls.All(),
      ElementsAre("ReadForwardTable",
                  "CreateForwardRow 203.0.113.5/32 via 192.0.2.1 if 12 metric 1", "Sleep 1000",
                  "RemoveFile C:\\ProgramData\\Veltrane\\tunnels\\active.conf",
                  "ReadRegistryText HKCU ADMIN_BYPASS_IP"));
}

TEST(SimulatedCalls, ChangesLeavesReadsOut) {
  Machine machine;
  ReadForwardTable();
  CreateFolders(L"C:\\Logs");
  PrintOutput(L"service installed\n");
  DeleteForwardRow(MakeRoute("203.0.113.5/32", "192.0.2.1", 12, 1));
  EXPECT_THAT(machine.Changes(),
              ElementsAre("CreateFolders C:\\Logs",
                          "DeleteForwardRow 203.0.113.5/32 via 192.0.2.1 if 12 metric 1"));
}

TEST(SimulatedCalls, CanBeSelectedByNameAndByBeginning) {
  Machine machine;
  FindBestRoute(Ip("203.0.113.5"));
  ReadInterfaceNames(12);
  FindBestRoute(Ip("198.51.100.7"));
  EXPECT_THAT(machine.calls.Of("FindBestRoute"),
              ElementsAre("FindBestRoute 203.0.113.5", "FindBestRoute 198.51.100.7"));
  EXPECT_THAT(machine.calls.StartingWith("ReadInterface"), ElementsAre("ReadInterfaceNames 12"));
  EXPECT_EQ(machine.calls.Count("FindBestRoute"), 2U);
}

TEST(SimulatedCalls, ConversionsAreCountedButNotLogged) {
  Machine machine;
  ParseIpv4("203.0.113.5");
  WideToUtf8(L"a");
  EXPECT_THAT(machine.calls.All(), IsEmpty());
  EXPECT_EQ(machine.calls.Count("ParseIpv4"), 1U);
}

TEST(SimulatedCalls, NthCallFromNowFailsOnce) {
  Machine machine;
  ReadSessions();
  machine.Fail("ReadSessions", 2, 5);
  EXPECT_TRUE(ReadSessions());
  EXPECT_FALSE(ReadSessions());
  EXPECT_TRUE(ReadSessions());
}

TEST(SimulatedCalls, FailedCallAnswersTheStatusAndDoesNothing) {
  Machine machine;
  machine.Fail("CreateForwardRow", 1, 87);
  EXPECT_EQ(CreateForwardRow(MakeRoute("203.0.113.5/32", "192.0.2.1", 12, 1)), 87U);
  EXPECT_THAT(machine.routes.Texts(), IsEmpty());
}

TEST(SimulatedCalls, FailWhereFailsTheCallsWithThatFragment) {
  Machine machine;
  machine.FailWhere("CreateForwardRow", "203.0.113.5/32", 5);
  EXPECT_EQ(CreateForwardRow(MakeRoute("198.51.100.7/32", "192.0.2.1", 12, 1)), 0U);
  EXPECT_EQ(CreateForwardRow(MakeRoute("203.0.113.5/32", "192.0.2.1", 12, 1)), 5U);
}

TEST(SimulatedCalls, FailureOfOneCallGoesBeforeTheFailureOfAll) {
  Machine machine;
  machine.FailAlways("FindBestRoute", 50);
  machine.Fail("FindBestRoute", 1, 1232);
  EXPECT_EQ(FindBestRoute(Ip("8.8.8.8")).Error(), 1232U);
  EXPECT_EQ(FindBestRoute(Ip("8.8.8.8")).Error(), 50U);
  EXPECT_EQ(FindBestRoute(Ip("8.8.8.8")).Error(), 50U);
}

TEST(SimulatedCalls, HealTakesEveryFailureBack) {
  Machine machine;
  machine.FailAlways("ReadSessions", 5);
  machine.FailWhere("ReadSessions", "Read", 5);
  machine.Fail("ReadSessions", 1, 5);
  machine.calls.Heal("ReadSessions");
  EXPECT_TRUE(ReadSessions());
}

TEST(SimulatedCalls, HookRunsJustBeforeTheCallTakesEffect) {
  Machine machine;
  machine.OnCall("CreateForwardRow", 2,
                 [&machine] { machine.routes.Add("198.51.100.7/32", "192.0.2.1", 12, 1); });
  EXPECT_EQ(CreateForwardRow(MakeRoute("203.0.113.5/32", "192.0.2.1", 12, 1)), 0U);
  EXPECT_FALSE(machine.routes.Has("198.51.100.7/32 via 192.0.2.1 if 12 metric 1"));
  EXPECT_EQ(CreateForwardRow(MakeRoute("198.51.100.7/32", "192.0.2.1", 12, 1)), 5010U);
}

TEST(SimulatedCalls, HookMayCallTheBoundary) {
  Machine machine;
  machine.calls.OnEveryCall("DeleteForwardRow", [] { SleepMilliseconds(100); });
  DeleteForwardRow(MakeRoute("203.0.113.5/32", "192.0.2.1", 12, 1));
  EXPECT_THAT(
      machine.calls.All(),
      ElementsAre("DeleteForwardRow 203.0.113.5/32 via 192.0.2.1 if 12 metric 1", "Sleep 100"));
}

}  // namespace
}  // namespace veltrane::simulated
