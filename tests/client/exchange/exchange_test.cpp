#include "client/exchange/exchange.h"

#include "tests/client/on_client_machine.h"
#include "tests/client/scripted_server.h"

namespace veltrane {
namespace {

using Exchanges = OnClientMachine;

TEST_F(Exchanges, AServerThatClosesTheConnectionWithoutReplying) {
  ScriptedServer silent("");
  EXPECT_EQ(Run({"status", "--any-server"}), 6);
  EXPECT_EQ(side.Output(), "");
  EXPECT_EQ(side.Error(),
            "veltranectl: the service closed the connection without replying: sc.exe query "
            "VeltraneVpnTunnel\n");
  EXPECT_EQ(silent.Request(), R"({"op":"status"})");
}

TEST_F(Exchanges, AReplyIsWaitedForFor120Seconds) {
  StartService();
  side.DelayReply(120);
  EXPECT_EQ(Run({"status"}), 6);
  EXPECT_EQ(side.Output(), "");
  EXPECT_EQ(side.Error(), "veltranectl: no reply within 120 s: veltranectl doctor\n");
}

TEST_F(Exchanges, AReplyAfter119SecondsIsInTime) {
  StartService();
  side.DelayReply(119);
  EXPECT_EQ(Run({"status"}), 0);
}

TEST_F(Exchanges, AServerThatTricklesIsWaitedForFor120SecondsInAll) {
  StartService();
  side.TrickleReply("x", 500);
  EXPECT_EQ(Run({"status"}), 6);
  EXPECT_EQ(side.Output(), "");
  EXPECT_EQ(side.Error(), "veltranectl: the reply did not end within 120 s: veltranectl doctor\n");
  EXPECT_EQ(side.Trickled(), 240);
}

TEST_F(Exchanges, AReplyIsReadUpTo1048576Bytes) {
  StartService();
  side.TrickleReply(std::string(65536, 'x'), 0);
  EXPECT_EQ(Run({"status"}), 6);
  EXPECT_EQ(side.Output(), "");
  EXPECT_EQ(side.Error(),
            "veltranectl: the reply is longer than 1048576 bytes: veltranectl doctor\n");
  EXPECT_EQ(side.Trickled(), 17);
}

TEST_F(Exchanges, SettingTheClockBackDoesNotProlongTheWait) {
  StartService();
  side.TrickleReply("x", 500);
  machine.OnCall("UtcTicks", 101, [this] { machine.clock.SetTime(1); });
  EXPECT_EQ(Run({"status"}), 6);
  EXPECT_EQ(side.Trickled(), 241);
}

TEST_F(Exchanges, AReplyThatIsNotJsonIsPrintedByWatchAsJsonAndEndsWithItsCode) {
  ScriptedServer odd("no object");
  EXPECT_EQ(Run({"status", "--any-server", "--watch", "--times", "1", "--json"}), 6);
  EXPECT_EQ(side.Output(), "no object\n");
}

TEST_F(Exchanges, AReplyThatIsNotJson) {
  ScriptedServer odd("{\"ok\":true,\"phase\":\"connected\",\"node_id\":\"a\"b\"}");
  EXPECT_EQ(Run({"status", "--any-server"}), 6);
  EXPECT_EQ(side.Output(), "");
  EXPECT_EQ(side.Error(),
            "veltranectl: the reply is not a JSON object: use --json to print it as received\n");
}

TEST_F(Exchanges, AReplyThatIsNotJsonIsStillPrintedAsReceived) {
  ScriptedServer odd("not json\n");
  EXPECT_EQ(Run({"status", "--any-server", "--json"}), 6);
  EXPECT_EQ(side.Output(), "not json\n");
}

}  // namespace
}  // namespace veltrane
