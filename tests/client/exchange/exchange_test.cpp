// Reaching the service, and every line that says why it was not reached.

#include "client/exchange/exchange.h"

#include <thread>

#include "tests/client/on_client_machine.h"

namespace veltrane {
namespace {

class Exchanges : public OnClientMachine {
 protected:
  // The line that "status" complains with.
  std::string Complaint(int exit_code, const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments = {"status"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    EXPECT_EQ(Run(arguments), exit_code);
    EXPECT_EQ(side.Output(), "");
    return side.Error();
  }
};

// A pipe of the test's own, which answers as it is told.
class ScriptedServer {
 public:
  // Takes one request, kept in `request`, and answers with this text.
  explicit ScriptedServer(const std::string& reply)
      : pipe_(ServerPipe::Create({.name = L"\\\\.\\pipe\\VeltraneVpn",
                                  .open_mode = 3,
                                  .pipe_mode = 6,
                                  .max_instances = 1,
                                  .out_buffer_bytes = 65536,
                                  .in_buffer_bytes = 65536,
                                  .default_timeout_ms = 0},
                                 nullptr)),
        thread_([this, reply] { Serve(reply); }) {}
  ~ScriptedServer() {
    if (thread_.joinable()) thread_.join();
  }

  std::string Request() {
    thread_.join();
    return request_;
  }

 private:
  void Serve(const std::string& reply) {
    if (pipe_->WaitForClient() == 232) return;
    std::string buffer(65536, '\0');
    const auto size = pipe_->Read(buffer.data(), buffer.size());
    request_ = buffer.substr(0, size.value_or(0));
    if (size && !reply.empty()) pipe_->Write(reply);
    pipe_->Flush();
    pipe_->Disconnect();
  }

  std::optional<ServerPipe> pipe_;
  std::string request_;
  std::thread thread_;
};

TEST_F(Exchanges, AServiceThatIsNotInstalled) {
  EXPECT_EQ(Complaint(4),
            "veltranectl: the service is not installed: VeltraneVpnService.exe --install\n");
}

TEST_F(Exchanges, AServiceThatIsNotRunning) {
  InstallService();
  EXPECT_EQ(Complaint(4), "veltranectl: the service is not running: sc start VeltraneVpnTunnel\n");
}

TEST_F(Exchanges, AServiceWhoseStateCannotBeRead) {
  InstallService();
  side.service_facts_error = 5;
  EXPECT_EQ(Complaint(4),
            "veltranectl: the service's state cannot be read (Windows error 5): sc query "
            "VeltraneVpnTunnel\n");
}

TEST_F(Exchanges, ARunningServiceWithoutAPipeIsWaitedForASecond) {
  InstallService(simulated::kRunning);
  EXPECT_EQ(Complaint(4),
            "veltranectl: the service is running but its pipe does not exist: sc stop "
            "VeltraneVpnTunnel, then sc start VeltraneVpnTunnel\n");
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>(20, 50));
}

TEST_F(Exchanges, NoServerInConsoleMode) {
  EXPECT_EQ(Complaint(4, {"--any-server"}),
            "veltranectl: no program serves the pipe: VeltraneVpnService.exe --console\n");
}

TEST_F(Exchanges, APipeThatDoesNotAdmitTheUser) {
  side.FailOpen(5);
  EXPECT_EQ(Complaint(4),
            "veltranectl: the service's pipe denies access to this user: use an elevated prompt, "
            "or restart the service while this user is logged on at the console\n");
}

TEST_F(Exchanges, APipeThatCannotBeOpened) {
  side.FailOpen(1450);
  EXPECT_EQ(Complaint(4),
            "veltranectl: the service's pipe cannot be opened (Windows error 1450): veltranectl "
            "doctor\n");
}

TEST_F(Exchanges, ABusyPipeIsWaitedForFor30Seconds) {
  StartService();
  simulated::PipeClient other;
  other.Connect();
  std::vector<std::uint32_t> waits;
  side.OnWaitForPipe([&waits](std::uint32_t milliseconds) {
    waits.push_back(milliseconds);
    return 121;
  });
  EXPECT_EQ(Complaint(4),
            "veltranectl: the service has been busy with another client for 30 s: try again when "
            "it has finished\n");
  EXPECT_EQ(waits, std::vector<std::uint32_t>(30, 1000));
  other.Close();
}

TEST_F(Exchanges, ATerminalShowsHowLongABusyPipeHasBeenWaitedFor) {
  StartService();
  simulated::PipeClient other;
  other.Connect();
  side.SetTerminal(Stream::kError, 80);
  int rounds = 0;
  side.OnWaitForPipe([&other, &rounds](std::uint32_t) -> std::uint32_t {
    if (++rounds < 3) return 121;
    other.Close();
    return 0;
  });
  EXPECT_EQ(Run({"status"}), 0);
  EXPECT_EQ(side.Error(),
            "\r\x1b[Kwaiting for another client to finish (30 s at most), 1 s\r\x1b[Kwaiting for "
            "another client to finish (30 s at most), 2 s\r\x1b[K");
}

TEST_F(Exchanges, APipeThatBecomesFreeIsUsed) {
  StartService();
  simulated::PipeClient other;
  other.Connect();
  side.OnWaitForPipe([&other](std::uint32_t) {
    other.Close();
    return 0;
  });
  EXPECT_EQ(Run({"status"}), 0);
  EXPECT_EQ(side.Output().substr(0, 13), "disconnected\n");
  EXPECT_EQ(side.Error(), "");
}

TEST_F(Exchanges, APipeOfAnotherProcessThanTheServiceIsSentNothing) {
  InstallService(simulated::kRunning);
  ScriptedServer impostor("{\"ok\":true,\"phase\":\"connected\"}");
  side.pipe_server = 666;
  EXPECT_EQ(Complaint(5),
            "veltranectl: the pipe is served by process 666, but the service is process 4711: "
            "nothing was sent; if that is the service in console mode, add --any-server\n");
  EXPECT_EQ(impostor.Request(), "");
}

TEST_F(Exchanges, APipeIsSentNothingWhileTheServiceDoesNotRun) {
  InstallService();
  ScriptedServer impostor("{\"ok\":true,\"phase\":\"connected\"}");
  EXPECT_EQ(Complaint(5),
            "veltranectl: the pipe is served by process 4711, but the service is not running: "
            "nothing was sent; if that is the service in console mode, add --any-server\n");
  EXPECT_EQ(impostor.Request(), "");
}

TEST_F(Exchanges, APipeIsSentNothingWithoutAnInstalledService) {
  ScriptedServer impostor("{\"ok\":true,\"phase\":\"connected\"}");
  EXPECT_EQ(Complaint(5),
            "veltranectl: the pipe is served by process 4711, but the service is not installed: "
            "nothing was sent; if that is the service in console mode, add --any-server\n");
  EXPECT_EQ(impostor.Request(), "");
}

TEST_F(Exchanges, APipeIsSentNothingWhenTheServiceCannotBeAskedAbout) {
  InstallService(simulated::kRunning);
  side.service_facts_error = 5;
  ScriptedServer impostor("{\"ok\":true,\"phase\":\"connected\"}");
  EXPECT_EQ(Complaint(5),
            "veltranectl: the pipe is served by process 4711, but the service's state cannot be "
            "read (Windows error 5): nothing was sent; if that is the service in console mode, add "
            "--any-server\n");
  EXPECT_EQ(impostor.Request(), "");
}

TEST_F(Exchanges, APipeIsSentNothingWhenItsServerIsUnknown) {
  InstallService(simulated::kRunning);
  ScriptedServer impostor("{\"ok\":true,\"phase\":\"connected\"}");
  side.pipe_server = std::nullopt;
  EXPECT_EQ(
      Complaint(5),
      "veltranectl: Windows does not say which process serves the pipe, and the service is process "
      "4711: nothing was sent; if that is the service in console mode, add --any-server\n");
  EXPECT_EQ(impostor.Request(), "");
}

TEST_F(Exchanges, NoKeyReachesAnImpostor) {
  InstallService(simulated::kRunning);
  ScriptedServer impostor("{\"ok\":true,\"phase\":\"connected\"}");
  side.pipe_server = 666;
  EXPECT_EQ(Run({"connect", kConfPath}), 5);
  EXPECT_EQ(impostor.Request(), "");
}

TEST_F(Exchanges, AnyServerTalksToAnyServer) {
  ServePipe();
  side.pipe_server = 666;
  EXPECT_EQ(Run({"status", "--any-server"}), 0);
  EXPECT_EQ(side.Output().substr(0, 13), "disconnected\n");
}

TEST_F(Exchanges, AServerThatEndsTheConnectionWithoutAReply) {
  ScriptedServer silent("");
  EXPECT_EQ(Complaint(6, {"--any-server"}),
            "veltranectl: the service closed the connection without replying: sc query "
            "VeltraneVpnTunnel\n");
  EXPECT_EQ(silent.Request(), R"({"op":"status"})");
}

TEST_F(Exchanges, AReplyThatDoesNotComeIsWaitedForFor120Seconds) {
  StartService();
  side.DelayReply(120);
  EXPECT_EQ(Complaint(6), "veltranectl: no reply within 120 s: veltranectl doctor\n");
}

TEST_F(Exchanges, AReplyThatIsNoJson) {
  ScriptedServer odd("{\"ok\":true,\"phase\":\"connected\",\"node_id\":\"a\"b\"}");
  EXPECT_EQ(Run({"status", "--any-server"}), 6);
  EXPECT_EQ(side.Output(), "");
  EXPECT_EQ(side.Error(),
            "veltranectl: the reply is not a JSON object: use --json to print it as received\n");
}

TEST_F(Exchanges, AReplyThatIsNoJsonIsPrintedAsItCameAllTheSame) {
  ScriptedServer odd("not json\n");
  EXPECT_EQ(Run({"status", "--any-server", "--json"}), 6);
  EXPECT_EQ(side.Output(), "not json\n");
}

}  // namespace
}  // namespace veltrane
