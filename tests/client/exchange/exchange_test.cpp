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
            "veltranectl: the service closed the connection without replying: sc query "
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
