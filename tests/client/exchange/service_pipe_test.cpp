// Reaching the service, and every line that says why it was not reached.

#include "client/exchange/service_pipe.h"

#include "tests/client/on_client_machine.h"
#include "tests/client/scripted_server.h"

namespace veltrane {
namespace {

struct NoPipe {
  const char* name;
  bool any_server;
  std::optional<std::uint32_t> service_state;  // nullopt: not installed
  std::uint32_t service_facts_error;
  std::uint32_t open_error;
  const char* line;
};

class WithoutPipe : public OnClientMachine, public testing::WithParamInterface<NoPipe> {};

TEST_P(WithoutPipe, OneLineSaysWhy) {
  if (GetParam().service_state) InstallService(*GetParam().service_state);
  side.service_facts_error = GetParam().service_facts_error;
  if (GetParam().open_error != 0) side.FailOpen(GetParam().open_error);
  std::vector<std::string> arguments = {"status"};
  if (GetParam().any_server) arguments.push_back("--any-server");
  EXPECT_EQ(Run(arguments), 4);
  EXPECT_EQ(side.Output(), "");
  EXPECT_EQ(side.Error(), GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(
    Reasons, WithoutPipe,
    testing::Values(
        NoPipe{"NotInstalled", false, std::nullopt, 0, 0,
               "veltranectl: the service is not installed: .\\VeltraneVpnService.exe --install\n"},
        NoPipe{"NotRunning", false, simulated::kStopped, 0, 0,
               "veltranectl: the service is not running: sc.exe start VeltraneVpnTunnel\n"},
        NoPipe{"StateUnreadable", false, simulated::kStopped, 5, 0,
               "veltranectl: the service's state cannot be read (Windows error 5): sc.exe query "
               "VeltraneVpnTunnel\n"},
        NoPipe{"NoServerInConsoleMode", true, std::nullopt, 0, 0,
               "veltranectl: no program serves the pipe: .\\VeltraneVpnService.exe --console\n"},
        NoPipe{"AccessDenied", false, std::nullopt, 0, 5,
               "veltranectl: the service's pipe denies access to this user: use an elevated "
               "prompt, or restart the service while this user is logged on at the console\n"},
        NoPipe{"CannotBeOpened", false, std::nullopt, 0, 1450,
               "veltranectl: the service's pipe cannot be opened (Windows error 1450): veltranectl "
               "doctor\n"}),
    [](const auto& reason) { return reason.param.name; });

using ServicePipes = OnClientMachine;

TEST_F(ServicePipes, ARunningServiceWithoutAPipeIsWaitedForASecond) {
  InstallService(simulated::kRunning);
  EXPECT_EQ(Run({"status"}), 4);
  EXPECT_EQ(side.Error(),
            "veltranectl: the service is running but its pipe does not exist: sc.exe stop "
            "VeltraneVpnTunnel, then sc.exe start VeltraneVpnTunnel\n");
  EXPECT_EQ(machine.clock.Sleeps(), std::vector<std::uint32_t>(20, 50));
}

// The service is serving another client.
class BusyPipe : public OnClientMachine {
 protected:
  BusyPipe() {
    StartService();
    other.Connect();
  }

  simulated::PipeClient other;
};

TEST_F(BusyPipe, IsWaitedForFor30Seconds) {
  std::vector<std::uint32_t> waits;
  side.OnWaitForPipe([&waits](std::uint32_t milliseconds) {
    waits.push_back(milliseconds);
    return 121;
  });
  EXPECT_EQ(Run({"status"}), 4);
  EXPECT_EQ(side.Error(),
            "veltranectl: the service has been busy with another client for 30 s: try again when "
            "it has finished\n");
  EXPECT_EQ(waits, std::vector<std::uint32_t>(30, 1000));
}

TEST_F(BusyPipe, ATerminalShowsHowLongTheWaitHasLasted) {
  side.SetTerminal(Stream::kError, 80);
  int rounds = 0;
  side.OnWaitForPipe([this, &rounds](std::uint32_t) -> std::uint32_t {
    if (++rounds < 3) return 121;
    other.Close();
    return 0;
  });
  EXPECT_EQ(Run({"status"}), 0);
  EXPECT_EQ(side.Error(),
            "\r\x1b[Kwaiting for another client to finish (30 s at most), 1 s"
            "\r\x1b[Kwaiting for another client to finish (30 s at most), 2 s"
            "\r\x1b[K");
}

TEST_F(BusyPipe, IsUsedOnceItIsFree) {
  side.OnWaitForPipe([this](std::uint32_t) {
    other.Close();
    return 0;
  });
  EXPECT_EQ(Run({"status"}), 0);
  EXPECT_EQ(side.Output().substr(0, 13), "disconnected\n");
  EXPECT_EQ(side.Error(), "");
}

struct Impostor {
  const char* name;
  std::optional<std::uint32_t> service_state;  // nullopt: not installed
  std::uint32_t service_facts_error;
  std::optional<std::uint32_t> pipe_server;
  const char* line;
};

class PipeOfAnImpostor : public OnClientMachine, public testing::WithParamInterface<Impostor> {
 protected:
  PipeOfAnImpostor() {
    if (GetParam().service_state) InstallService(*GetParam().service_state);
    side.service_facts_error = GetParam().service_facts_error;
    side.pipe_server = GetParam().pipe_server;
  }

  ScriptedServer impostor{R"({"ok":true,"phase":"connected"})"};
};

TEST_P(PipeOfAnImpostor, IsSentNothing) {
  EXPECT_EQ(Run({"status"}), 5);
  EXPECT_EQ(side.Output(), "");
  EXPECT_EQ(side.Error(), GetParam().line);
  EXPECT_EQ(impostor.Request(), "");
}

TEST_P(PipeOfAnImpostor, GetsNoKey) {
  EXPECT_EQ(Run({"connect", kConfPath}), 5);
  EXPECT_EQ(impostor.Request(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Servers, PipeOfAnImpostor,
    testing::Values(
        Impostor{"AnotherProcess", simulated::kRunning, 0, 666,
                 "veltranectl: the pipe is served by process 666, but the service is process 4711: "
                 "nothing was sent; if that is the service in console mode, add --any-server\n"},
        Impostor{"WhileTheServiceIsStopped", simulated::kStopped, 0, 4711,
                 "veltranectl: the pipe is served by process 4711, but the service is not running: "
                 "nothing was sent; if that is the service in console mode, add --any-server\n"},
        Impostor{
            "WithoutTheService", std::nullopt, 0, 4711,
            "veltranectl: the pipe is served by process 4711, but the service is not installed: "
            "nothing was sent; if that is the service in console mode, add --any-server\n"},
        Impostor{"WhenTheStateIsUnreadable", simulated::kRunning, 5, 4711,
                 "veltranectl: the pipe is served by process 4711, but the service's state cannot "
                 "be read (Windows error 5): nothing was sent; if that is the service in console "
                 "mode, add --any-server\n"},
        Impostor{"UnknownProcess", simulated::kRunning, 0, std::nullopt,
                 "veltranectl: Windows does not say which process serves the pipe, and the service "
                 "is process 4711: nothing was sent; if that is the service in console mode, add "
                 "--any-server\n"}),
    [](const auto& impostor) { return impostor.param.name; });

TEST_F(ServicePipes, AnyServerTalksToAnyServer) {
  ServePipe();
  side.pipe_server = 666;
  EXPECT_EQ(Run({"status", "--any-server"}), 0);
  EXPECT_EQ(side.Output().substr(0, 13), "disconnected\n");
}

}  // namespace
}  // namespace veltrane
