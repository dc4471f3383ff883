// What the parts of the machine have beyond the contract of platform/, where no test of the program
// would notice that it is wrong. That they keep the contract is tested in tests/contract/.

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/registry.h"
#include "platform/service_facts.h"
#include "platform/text.h"
#include "tests/simulated/client_side.h"
#include "tests/simulated/machine.h"

namespace veltrane::simulated {
namespace {

using testing::ElementsAre;

constexpr wchar_t kFile[] = L"C:\\ProgramData\\file";

TEST(SimulatedConnections, HaveGarbageAboveTheirPort) {
  Machine machine;
  machine.connections.AddEstablished(3389, "203.0.113.5");
  EXPECT_EQ(ReadTcpConnections()->at(0).local_port, 0xBEEF3D0DU);
}

TEST(SimulatedConnections, AreTheSameForBothOfTheirReaders) {
  Machine machine;
  machine.connections.AddEstablished(3389, "203.0.113.5");
  machine.connections.Add(8, 3389, "203.0.113.6");
  const IpConnection expected{Address("192.168.1.10"), 3389, Address("203.0.113.5"), 0};
  EXPECT_THAT(*ReadEstablishedConnections(IpFamily::kIpv4), ElementsAre(expected));
  EXPECT_EQ(ReadTcpConnections()->size(), 2U);
}

TEST(SimulatedConnections, CanBeMadeUnreadableForOneFamily) {
  Machine machine;
  machine.FailWhere("ReadEstablishedConnections", "IPv6", 1);
  EXPECT_TRUE(ReadEstablishedConnections(IpFamily::kIpv4));
  EXPECT_FALSE(ReadEstablishedConnections(IpFamily::kIpv6));
}

TEST(SimulatedClock, HasAnUptimeThatPassesButIsNotSetWithTheTime) {
  Machine machine;
  EXPECT_EQ(UptimeMilliseconds(), 86'400'000U);
  machine.clock.SetTime(0);
  EXPECT_EQ(UptimeMilliseconds(), 86'400'000U);
  machine.clock.Advance(1000);
  EXPECT_EQ(UptimeMilliseconds(), 86'401'000U);
  EXPECT_EQ(UtcTicks(), 10'000'000);
  machine.clock.SetUptime(5);
  EXPECT_EQ(UptimeMilliseconds(), 5U);
}

TEST(SimulatedProcesses, WereStartedAMinuteAfterWindowsUnlessTheTestSaysWhen) {
  Machine machine;
  ClientSide side;
  machine.clock.SetTime(1'000'000);
  machine.clock.SetUptime(600'000);
  EXPECT_EQ(*ReadProcessStart(4711), 999'460 * kTicksPerSecond);
  side.process_starts[4711] = 7;
  EXPECT_EQ(*ReadProcessStart(4711), 7);
  EXPECT_EQ(ReadProcessStart(4712).Error(), 87U);
}

TEST(SimulatedRegistry, ValuesDoNotChangeWhenTheirKeyWasWritten) {
  Machine machine;
  const std::wstring key = kMachineEnvironmentKey;
  constexpr std::int64_t kStartOf2020 = 15'778'368'000'000'000;
  EXPECT_EQ(*ReadKeyWriteTime(RegistryRoot::kLocalMachine, key), kStartOf2020);
  machine.registry.SetWriteTime(RegistryRoot::kLocalMachine, key, 7);
  machine.environment.SetMachine(L"NAME", L"value");
  EXPECT_EQ(*ReadKeyWriteTime(RegistryRoot::kLocalMachine, key), 7);
}

TEST(SimulatedRegistry, HasAKeyOfEachRegisteredService) {
  Machine machine;
  const std::wstring key = L"SYSTEM\\CurrentControlSet\\Services\\Name";
  EXPECT_EQ(ReadKeyWriteTime(RegistryRoot::kLocalMachine, key).Error(), 2U);
  machine.services.Add(L"Name", kRunning);
  EXPECT_TRUE(ReadKeyWriteTime(RegistryRoot::kLocalMachine, key));
}

TEST(SimulatedRegistry, HasTheUsualListenersAtFirst) {
  Machine machine;
  EXPECT_THAT(*ListRegistryKeys(kListenersKey), ElementsAre(L"Console", L"RDP-Tcp"));
  EXPECT_EQ(*ReadRegistryNumber(kListenersKey + std::wstring(L"\\RDP-Tcp"), L"PortNumber"), 3389U);
  machine.registry.RemoveKey(RegistryRoot::kLocalMachine, kListenersKey);
  EXPECT_EQ(ListRegistryKeys(kListenersKey).Error(), 2U);
}

TEST(SimulatedRegistry, CanBeMadeUnreadableValueByValue) {
  Machine machine;
  machine.registry.SetText(RegistryRoot::kUsers, kSystemEnvironmentKey, L"NAME", L"value");
  machine.registry.SetText(RegistryRoot::kUsers, kSystemEnvironmentKey, L"OTHER", L"value");
  machine.FailWhere("FindRegistryText", "HKU S-1-5-18\\Environment\\NAME", 5);
  const auto find = [](const wchar_t* name) {
    return FindRegistryText(RegistryRoot::kUsers, kSystemEnvironmentKey, name, 100);
  };
  EXPECT_EQ(find(L"NAME").Error(), 5U);
  EXPECT_EQ(*find(L"OTHER"), L"value");
}

TEST(SimulatedConsole, KeepsTheOrderOfItsOutlets) {
  Machine machine;
  PrintOutput(L"one\n");
  PrintDebugger(L"two");
  PrintErrorLine(L"three ", "\xC3\xA9");
  EXPECT_THAT(machine.console.Log(),
              ElementsAre(Printed{Outlet::kOutput, L"one\n"}, Printed{Outlet::kDebugger, L"two"},
                          Printed{Outlet::kError, L"three \u00C3\u00A9\n"}));
}

TEST(SimulatedFiles, FailedWriteLosesItsBytesAndMakesCloseFail) {
  Machine machine;
  machine.Fail("OutputFile.Write", 2, 112);
  OutputFile file = OutputFile::Open(kFile).value();
  file.Write("kept");
  file.Write("lost");
  file.Write("ignored");
  EXPECT_FALSE(file.Close());
  EXPECT_EQ(machine.files.Bytes(kFile), "kept");
}

TEST(SimulatedFiles, FailedCloseLosesWhatWasKeptBack) {
  Machine machine;
  machine.Fail("OutputFile.Close", 1, 112);
  OutputFile file = OutputFile::Open(kFile).value();
  file.Write("lost");
  EXPECT_FALSE(file.Close());
  EXPECT_EQ(machine.files.Bytes(kFile), "");
}

TEST(SimulatedFiles, CloseIsLoggedOnceEvenWhenOnlyTheObjectEnds) {
  Machine machine;
  { OutputFile::Open(kFile)->Write("text"); }
  EXPECT_TRUE(OutputFile::Open(kFile)->Close());
  EXPECT_EQ(machine.calls.Count("OutputFile.Close"), 2U);
}

TEST(SimulatedResources, AreCountedWhileTheProgramHasThem) {
  Machine machine;
  machine.libraries.Add(L"tunnel.dll");
  {
    const auto file = OutputFile::Open(kFile);
    const auto pipe = ServerPipe::Create({L"\\\\.\\pipe\\VeltraneVpn", 3, 6, 1}, nullptr);
    const auto record = MakeSecurityAttributes({{NtSid({18}), TrusteeType::kUser, 1, 0}});
    const auto manager = ServiceManager::Open(1);
    const auto library = Library::Load(L"tunnel.dll");
    EXPECT_EQ(machine.files.OpenStreams(), 1);
    EXPECT_EQ(machine.pipes.OpenInstances(), 1U);
    EXPECT_EQ(machine.security.LiveRecords(), 1U);
    EXPECT_EQ(machine.services.OpenHandles(), 1);
    EXPECT_EQ(machine.libraries.Loads(L"tunnel.dll"), 1U);
    EXPECT_EQ(machine.libraries.Frees(L"tunnel.dll"), 0U);
    EXPECT_EQ(machine.libraries.Loaded(), 1U);
  }
  EXPECT_EQ(machine.files.OpenStreams(), 0);
  EXPECT_EQ(machine.pipes.OpenInstances(), 0U);
  EXPECT_EQ(machine.security.LiveRecords(), 0U);
  EXPECT_EQ(machine.services.OpenHandles(), 0);
  EXPECT_EQ(machine.libraries.Frees(L"tunnel.dll"), 1U);
  EXPECT_EQ(machine.libraries.Loaded(), 0U);
}

TEST(SimulatedRoutes, AreMadeAndToldAsTexts) {
  ForwardRow expected;
  expected.dest = 0x0000010A;
  expected.mask = 0x00F0FFFF;
  expected.next_hop = 0x0101A8C0;
  expected.interface_index = 12;
  expected.type = 4;
  expected.proto = 3;
  expected.metric1 = 1;
  EXPECT_EQ(MakeRoute("10.1.0.0/20", "192.168.1.1", 12, 1), expected);
  EXPECT_EQ(RouteText(expected), "10.1.0.0/20 via 192.168.1.1 if 12 metric 1");
  EXPECT_EQ(MakeRoute("0.0.0.0/0", "0.0.0.0", 1, 1).type, 3U);
}

TEST(SimulatedRoutes, AreSortedByProtocolBeforeNextHopAndElseKeepTheirOrder) {
  Machine machine;
  ForwardRow later = MakeRoute("0.0.0.0/0", "10.0.0.1", 1, 1);
  later.proto = 13;
  const ForwardRow first = MakeRoute("0.0.0.0/0", "192.168.1.1", 14, 50);
  const ForwardRow second = MakeRoute("0.0.0.0/0", "192.168.1.1", 12, 25);
  for (const ForwardRow& row : {later, first, second}) machine.routes.Add(row);
  EXPECT_THAT(*ReadForwardTable(), ElementsAre(first, second, later));
}

TEST(SimulatedRoutes, AreTheSameOnlyWithTheSameGatewayInterfaceAndProtocol) {
  Machine machine;
  const ForwardRow row = MakeRoute("203.0.113.5/32", "192.168.1.1", 12, 1);
  EXPECT_EQ(CreateForwardRow(row), 0U);
  EXPECT_EQ(CreateForwardRow(MakeRoute("203.0.113.5/32", "192.168.1.2", 12, 1)), 0U);
  EXPECT_EQ(CreateForwardRow(MakeRoute("203.0.113.5/32", "192.168.1.1", 13, 1)), 0U);
  EXPECT_EQ(CreateForwardRow(MakeRoute("203.0.113.5/32", "192.168.1.1", 12, 20)), 5010U);
  ForwardRow other = row;
  other.proto = 2;
  EXPECT_EQ(DeleteForwardRow(other), 1168U);
}

TEST(SimulatedRoutes, BestOneHasTheLongestMaskThenTheLowestMetric) {
  Machine machine;
  EXPECT_EQ(FindBestRoute(Ip("8.8.8.8")).Error(), 1232U);
  machine.routes.Add("0.0.0.0/0", "192.168.1.1", 12, 25);
  machine.routes.Add("0.0.0.0/0", "192.168.2.1", 14, 10);
  machine.routes.Add("203.0.113.0/24", "10.66.66.1", 23, 90);
  EXPECT_EQ(FindBestRoute(Ip("8.8.8.8"))->interface_index, 14U);
  EXPECT_EQ(FindBestRoute(Ip("203.0.113.5"))->interface_index, 23U);
}

TEST(SimulatedTextDeathTest, CharacterThatIsNotAUtf16UnitEndsTheProcess) {
  const Machine machine;
  EXPECT_DEATH(WideToUtf8({wchar_t{0x1F600}}), "no UTF-16 unit");
}

}  // namespace
}  // namespace veltrane::simulated
