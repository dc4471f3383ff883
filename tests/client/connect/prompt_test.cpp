#include "client/connect/prompt.h"

#include "client/forecast/networks.h"
#include "tests/client/on_client_machine.h"

namespace veltrane {
namespace {

using simulated::Address;
using Subjects = std::vector<Subject>;

Subject Peer(SubjectReason reason, const char* address, std::optional<IpAddress> local,
             std::uint32_t scope_id = 0) {
  return {.address = Address(address), .reason = reason, .local = local, .scope_id = scope_id};
}

class ThisPrompt : public OnClientMachine {
 protected:
  void ConnectOverWinRm() {
    side.ancestors = {{L"powershell.exe", L"WSMPROVHOST.EXE", L"svchost.exe"}};
  }
};

TEST_F(ThisPrompt, IsAtTheMachine) {
  machine.connections.AddEstablished(5985, "203.0.113.5");
  const Prompt prompt = ReadPrompt({});
  EXPECT_FALSE(prompt.remote_session);
  EXPECT_FALSE(prompt.over_ssh);
  EXPECT_EQ(prompt.over_winrm, false);
  EXPECT_EQ(prompt.connections, Subjects());
}

TEST_F(ThisPrompt, IsInARemoteSession) {
  machine.sessions.SetRemoteSession(true);
  EXPECT_TRUE(ReadPrompt({}).remote_session);
}

TEST_F(ThisPrompt, IsReachedFromWhereTheCommandLineSays) {
  EXPECT_EQ(ReadPrompt({Address("203.0.113.5")}).named,
            std::vector<IpAddress>{Address("203.0.113.5")});
}

TEST_F(ThisPrompt, IsReachedOverSsh) {
  machine.environment.SetProcess(L"SSH_CONNECTION", L"203.0.113.5 50123 192.168.1.10 22");
  const Prompt prompt = ReadPrompt({});
  EXPECT_TRUE(prompt.over_ssh);
  EXPECT_EQ(prompt.connections,
            Subjects{Peer(SubjectReason::kSshConnection, "203.0.113.5", Address("192.168.1.10"))});
}

TEST_F(ThisPrompt, IsReachedOverSshFromSomewhere) {
  machine.environment.SetProcess(L"SSH_CONNECTION", L"UNKNOWN 65535 UNKNOWN 65535");
  const Prompt prompt = ReadPrompt({});
  EXPECT_TRUE(prompt.over_ssh);
  EXPECT_EQ(prompt.connections, Subjects());
}

TEST_F(ThisPrompt, IsReachedOverPowerShellRemoting) {
  ConnectOverWinRm();
  EXPECT_EQ(ReadPrompt({}).over_winrm, true);
}

TEST_F(ThisPrompt, IsReachedOverWinrs) {
  side.ancestors = {{L"cmd.exe", L"winrshost.exe"}};
  EXPECT_EQ(ReadPrompt({}).over_winrm, true);
}

TEST_F(ThisPrompt, MayBeReachedOverWinRmWhenTheProcessesCannotBeRead) {
  side.ancestors.reset();
  EXPECT_EQ(ReadPrompt({}).over_winrm, std::nullopt);
}

TEST_F(ThisPrompt, IsReachedByEveryConnectionToThePortsOfWinRm) {
  ConnectOverWinRm();
  machine.connections.AddEstablished(22, "203.0.113.4");
  machine.connections.AddEstablished(5985, "203.0.113.5");
  machine.connections.AddEstablished(5986, "203.0.113.6");
  machine.connections.AddEstablishedIpv6(5985, "fe80::7", "fe80::10", 12);
  EXPECT_EQ(ReadPrompt({}).connections,
            (Subjects{Peer(SubjectReason::kWinRmConnection, "203.0.113.5", Address("192.168.1.10")),
                      Peer(SubjectReason::kWinRmConnection, "203.0.113.6", Address("192.168.1.10")),
                      Peer(SubjectReason::kWinRmConnection, "fe80::7", Address("fe80::10"), 12)}));
}

TEST_F(ThisPrompt, IsNotReachedOverWinRmFromThisMachineItself) {
  ConnectOverWinRm();
  machine.connections.AddEstablished(5985, "127.0.0.1", "127.0.0.1");
  machine.connections.AddEstablishedIpv6(5985, "::1", "::1");
  EXPECT_EQ(ReadPrompt({}).connections, Subjects());
}

TEST(SshConnection, HasBothItsEnds) {
  EXPECT_EQ(SshConnectionOf("2001:db8::5 50123 2001:db8::10 22"),
            Peer(SubjectReason::kSshConnection, "2001:db8::5", Address("2001:db8::10")));
}

TEST(SshConnection, CanLackTheMachinesEnd) {
  EXPECT_EQ(SshConnectionOf("203.0.113.5"),
            Peer(SubjectReason::kSshConnection, "203.0.113.5", std::nullopt));
}

TEST(SshConnection, IsNoneWithoutAnAddress) {
  EXPECT_EQ(SshConnectionOf(""), std::nullopt);
  EXPECT_EQ(SshConnectionOf("UNKNOWN 65535 UNKNOWN 65535"), std::nullopt);
}

TEST(SshConnection, FromThisMachineItselfDoesNotSayFromWhere) {
  EXPECT_EQ(SshConnectionOf("127.0.0.1 50123 127.0.0.1 22"), std::nullopt);
  EXPECT_EQ(SshConnectionOf("::1 50123 ::1 22"), std::nullopt);
}

}  // namespace
}  // namespace veltrane
