// What --json prints when there is no reply to print.

#include "client/failure.h"

#include "tests/client/on_client_machine.h"
#include "tests/client/scripted_server.h"

namespace veltrane {
namespace {

class Failures : public OnClientMachine {
 protected:
  ~Failures() override {
    const std::string output = side.Output();
    if (output.find('\n') + 1 == output.size()) RecordProperty("client_error", output);
  }
};

TEST_F(Failures, AServiceThatIsUnreachable) {
  EXPECT_EQ(Run({"status", "--json"}), 4);
  EXPECT_EQ(side.Output(),
            R"({"ok":false,"error":"client_unreachable","message":"the service is not installed: )"
            R"(.\\VeltraneVpnService.exe --install"})"
            "\n");
  EXPECT_EQ(side.Error(),
            "veltranectl: the service is not installed: .\\VeltraneVpnService.exe --install\n");
}

TEST_F(Failures, AServiceThatIsBusy) {
  StartService();
  side.FailOpen(231);
  side.OnWaitForPipe([](std::uint32_t) { return 121; });
  EXPECT_EQ(Run({"disconnect", "--json"}), 4);
  EXPECT_EQ(
      side.Output(),
      R"({"ok":false,"error":"client_busy","message":"the service has been busy with another )"
      R"(client for 30 s: try again when it has finished"})"
      "\n");
}

TEST_F(Failures, AServerThatIsNotTheService) {
  ScriptedServer impostor("{}");
  EXPECT_EQ(Run({"register", "5c0e7a", "--json"}), 5);
  EXPECT_EQ(
      side.Output(),
      R"({"ok":false,"error":"client_untrusted","message":"the pipe is served by process )"
      R"(4711, but the service is not installed: nothing was sent; if that is the service in )"
      R"(console mode, add --any-server"})"
      "\n");
}

TEST_F(Failures, AServerThatDoesNotReply) {
  ScriptedServer silent("");
  EXPECT_EQ(Run({"status", "--any-server", "--json"}), 6);
  EXPECT_EQ(side.Output(),
            R"({"ok":false,"error":"client_no_reply","message":"the service closed the connection )"
            R"(without replying: sc.exe query VeltraneVpnTunnel"})"
            "\n");
}

TEST_F(Failures, AProfileThatCannotBeUsed) {
  EXPECT_EQ(Run({"connect", "C:\\none.conf", "--json"}), 3);
  EXPECT_EQ(side.Output(),
            R"({"ok":false,"error":"client_profile","message":"C:\\none.conf: no such file: check )"
            R"(the path"})"
            "\n");
}

TEST_F(Failures, ACommandLineThatIsInvalid) {
  const std::string missing =
      R"({"ok":false,"error":"client_usage","message":"a command is missing: veltranectl --help"})"
      "\n";
  EXPECT_EQ(Run({"--json"}), 2);
  EXPECT_EQ(side.Output(), missing);
  EXPECT_EQ(Run({"connect", "--json"}), 2);
  EXPECT_EQ(side.Output(),
            R"({"ok":false,"error":"client_usage","message":"PROFILE is required: veltranectl )"
            R"(connect --help"})"
            "\n");
}

TEST_F(Failures, WatchingPrintsOneLineEachTime) {
  EXPECT_EQ(Run({"status", "--watch", "--times", "2", "--json"}), 4);
  const std::string output = side.Output();
  const std::string line = output.substr(0, output.find('\n') + 1);
  EXPECT_EQ(line.substr(0, 40), R"({"ok":false,"error":"client_unreachable")");
  EXPECT_EQ(output, line + line);
}

TEST_F(Failures, AReplyIsPrintedAsItIs) {
  ScriptedServer odd("not json");
  EXPECT_EQ(Run({"status", "--any-server", "--json"}), 6);
  EXPECT_EQ(side.Output(), "not json");
}

}  // namespace
}  // namespace veltrane
