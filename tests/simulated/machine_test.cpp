// The call log with its switches, and the parts of the machine that are only looked at.

#include "tests/simulated/machine.h"

#include <cstring>
#include <string>
#include <vector>

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

TEST(SimulatedCalls, ClearEmptiesLogAndCounts) {
  Machine machine;
  ReadSessions();
  machine.calls.Clear();
  EXPECT_THAT(machine.calls.All(), IsEmpty());
  EXPECT_EQ(machine.calls.Count("ReadSessions"), 0U);
}

TEST(SimulatedCalls, NthCallFromNowFailsOnce) {
  Machine machine;
  ReadSessions();
  machine.Fail("ReadSessions", 2, 5);
  EXPECT_TRUE(ReadSessions());
  EXPECT_FALSE(ReadSessions());
  EXPECT_TRUE(ReadSessions());
}

TEST(SimulatedCalls, NthCallIsNotMovedByClear) {
  Machine machine;
  machine.Fail("ReadSessions", 2, 5);
  ReadSessions();
  machine.calls.Clear();
  EXPECT_FALSE(ReadSessions());
}

TEST(SimulatedCalls, FailedCallAnswersTheStatusAndDoesNothing) {
  Machine machine;
  machine.Fail("CreateForwardRow", 1, 87);
  EXPECT_EQ(CreateForwardRow(MakeRoute("203.0.113.5/32", "192.0.2.1", 12, 1)), 87U);
  EXPECT_THAT(machine.routes.Texts(), IsEmpty());
}

TEST(SimulatedCalls, FailedWithStatusZeroSucceedsAndDoesNothing) {
  Machine machine;
  machine.Fail("CreateForwardRow", 1, 0);
  EXPECT_EQ(CreateForwardRow(MakeRoute("203.0.113.5/32", "192.0.2.1", 12, 1)), 0U);
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

TEST(SimulatedEnvironment, ScopesAreIndependent) {
  Machine machine;
  machine.environment.SetProcess(L"NAME", L"process");
  machine.environment.SetMachine(L"NAME", L"machine");
  machine.environment.SetUser(L"name", L"user");
  EXPECT_EQ(ReadProcessVariable(L"name", 512), L"process");
  EXPECT_EQ(ReadRegistryText(RegistryRoot::kLocalMachine,
                             L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment",
                             L"NAME", 2048),
            L"machine");
  EXPECT_EQ(ReadRegistryText(RegistryRoot::kCurrentUser, L"Environment", L"NAME", 2048), L"user");
  EXPECT_EQ(ReadRegistryText(RegistryRoot::kLocalMachine, L"Environment", L"NAME", 2048), L"");
}

TEST(SimulatedEnvironment, ProcessValueMustLeaveRoomForItsZero) {
  Machine machine;
  machine.environment.SetProcess(L"NAME", std::wstring(15, L'x'));
  EXPECT_EQ(ReadProcessVariable(L"NAME", 16), std::wstring(15, L'x'));
  EXPECT_EQ(ReadProcessVariable(L"NAME", 15), L"");
}

TEST(SimulatedEnvironment, RegistryValueWithItsZeroMustFitTheBytes) {
  Machine machine;
  machine.environment.SetUser(L"NAME", std::wstring(1023, L'x'));
  EXPECT_EQ(ReadRegistryText(RegistryRoot::kCurrentUser, L"Environment", L"NAME", 2048),
            std::wstring(1023, L'x'));
  EXPECT_EQ(ReadRegistryText(RegistryRoot::kCurrentUser, L"Environment", L"NAME", 2047), L"");
}

TEST(SimulatedEnvironment, ProgramDataIsThereUntilUnset) {
  Machine machine;
  EXPECT_EQ(ReadProcessVariable(L"ProgramData", 260), L"C:\\ProgramData");
  machine.environment.UnsetProcess(L"PROGRAMDATA");
  EXPECT_EQ(ReadProcessVariable(L"ProgramData", 260), L"");
}

TEST(SimulatedConnections, LocalPortIsInNetworkByteOrderBelowGarbage) {
  Machine machine;
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.connections.Add(8, 443, "198.51.100.7", 0);
  const std::vector<TcpConnection> rows = ReadTcpConnections().value();
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0].state, 5U);
  EXPECT_EQ(rows[0].local_port, 0xBEEF3D0DU);
  EXPECT_EQ(rows[0].remote_address, 0x057100CBU);
  EXPECT_EQ(rows[1].state, 8U);
  EXPECT_EQ(rows[1].local_port, 0x0000BB01U);
}

TEST(SimulatedSessions, ClientAddressLiesInBytesTwoToFive) {
  Machine machine;
  machine.sessions.AddActive(2, "203.0.113.5");
  const ClientAddress address = ReadClientAddress(2).value();
  EXPECT_EQ(address.family, 2U);
  EXPECT_EQ(std::vector<int>(address.bytes.begin(), address.bytes.begin() + 7),
            (std::vector<int>{0, 0, 203, 0, 113, 5, 0}));
  EXPECT_FALSE(ReadClientAddress(3));
}

TEST(SimulatedSessions, ListKeepsItsOrder) {
  Machine machine;
  machine.sessions.AddSession(65536, 6);
  machine.sessions.AddSession(1, 0);
  const std::vector<Session> sessions = ReadSessions().value();
  ASSERT_EQ(sessions.size(), 2U);
  EXPECT_EQ(sessions[0].id, 65536U);
  EXPECT_EQ(sessions[0].state, 6U);
  EXPECT_EQ(sessions[1].id, 1U);
}

TEST(SimulatedSessions, NothingIsAttachedAtTheStart) {
  const Machine machine;
  EXPECT_FALSE(IsRemoteSession());
  EXPECT_EQ(ActiveConsoleSession(), 0xFFFFFFFFU);
  EXPECT_FALSE(ReadSessionUserSid(1));
}

TEST(SimulatedSessions, SettingsAreRead) {
  Machine machine;
  machine.sessions.SetRemoteSession(true);
  machine.sessions.SetConsoleSession(3);
  machine.sessions.SetUser(3, NtSid({21, 1, 2, 3, 1001}));
  EXPECT_TRUE(IsRemoteSession());
  EXPECT_EQ(ActiveConsoleSession(), 3U);
  EXPECT_EQ(SidText(ReadSessionUserSid(3).value()), "S-1-5-21-1-2-3-1001");
}

TEST(SimulatedSecurity, SidHasTheBytesOfTheWindowsStructure) {
  const Machine machine;
  EXPECT_EQ(MakeNtSid({32, 544}).value().bytes,
            (std::vector<unsigned char>{1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x20, 2, 0, 0}));
  EXPECT_FALSE(MakeNtSid({1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(SimulatedSecurity, RecordsAreCountedUntilFreed) {
  Machine machine;
  const AccessEntry entry{NtSid({18}), TrusteeType::kGroup, 0x10000000, 3};
  EXPECT_EQ(AccessText(entry), "group S-1-5-18 0x10000000 inherit 3");
  SecurityAttributesOwner attributes = MakeSecurityAttributes({entry});
  ASSERT_NE(attributes, nullptr);
  EXPECT_EQ(machine.security.LiveRecords(), 1U);
  attributes.reset();
  EXPECT_EQ(machine.security.LiveRecords(), 0U);
  EXPECT_EQ(MakeSecurityAttributes({AccessEntry{}}), nullptr);
}

}  // namespace
}  // namespace veltrane::simulated
