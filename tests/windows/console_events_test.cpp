// Control events of the console. They need one, so these tests run in a pseudo terminal.

#include "tests/windows/clean_machine.h"
#include "tests/windows/control_manager.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"
#include "tests/windows/wait.h"

namespace veltrane::windows_tests {
namespace {

// This process shares the console with the server and outlives the event.
BOOL WINAPI Outlive(DWORD) { return TRUE; }

class ConsoleEvents : public CleanMachine {
 protected:
  ConsoleEvents() { SetConsoleCtrlHandler(Outlive, TRUE); }
  ~ConsoleEvents() override { SetConsoleCtrlHandler(Outlive, FALSE); }

  static Outcome EndByCtrlC(Process& server) {
    EXPECT_TRUE(GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0));
    return server.Wait();
  }

  // With its main thread held, the process outlives an event only when the handler took it.
  static void ExpectThatTheHandlerStopsThePipeServer(DWORD_PTR event) {
    ConsoleServer server;
    Ask(kStatus);
    SuspendThread(server.MainThread());
    DeliverTo(server, event);
    EXPECT_TRUE(WaitUntil([] { return TryToConnect() == ERROR_FILE_NOT_FOUND; }));
    EXPECT_TRUE(server.IsRunning());
    ResumeThread(server.MainThread());
    EXPECT_EQ(server.Wait().exit_code, 0u);
  }

  // Wine sends no event but Ctrl+C. This starts the thread that an event starts in the process.
  static void DeliverTo(const Process& server, DWORD_PTR event) {
    const FARPROC routine = GetProcAddress(GetModuleHandleW(L"kernelbase.dll"), "CtrlRoutine");
    ASSERT_NE(routine, nullptr);
    const HANDLE thread = CreateRemoteThread(
        server.Handle(), nullptr, 0,
        reinterpret_cast<LPTHREAD_START_ROUTINE>(reinterpret_cast<void*>(routine)),
        reinterpret_cast<void*>(event), 0, nullptr);
    ASSERT_NE(thread, nullptr);
    CloseHandle(thread);
  }
};

TEST_F(ConsoleEvents, CtrlCClosesThePipePrintsNothingAndTheProcessReturns0) {
  ConsoleServer server;
  Ask(kStatus);
  const Outcome expected = {.exit_code = 0, .output = server.Output(), .error = server.Error()};
  EXPECT_EQ(EndByCtrlC(server), expected);
  EXPECT_EQ(TryToConnect(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(ConsoleEvents, CtrlCIsHandledByStoppingThePipeServer) {
  ExpectThatTheHandlerStopsThePipeServer(CTRL_C_EVENT);
}

TEST_F(ConsoleEvents, CtrlBreakIsHandledByStoppingThePipeServer) {
  ExpectThatTheHandlerStopsThePipeServer(CTRL_BREAK_EVENT);
}

TEST_F(ConsoleEvents, ClosingTheWindowIsHandledByStoppingThePipeServer) {
  ExpectThatTheHandlerStopsThePipeServer(CTRL_CLOSE_EVENT);
}

TEST_F(ConsoleEvents, LogOffIsLeftToTheSystemWhichEndsTheProcess) {
  ConsoleServer server;
  SuspendThread(server.MainThread());
  DeliverTo(server, CTRL_LOGOFF_EVENT);
  server.Wait();
}

TEST_F(ConsoleEvents, CtrlCLeavesTheTunnelAndItsFileInPlaceAndEndsAPendingAutoStop) {
  ConsoleServer server(Variables{{L"VELTRANE_POC_AUTO_STOP_SECONDS", L"3600"}});
  BringTunnelUp();
  EXPECT_EQ(EndByCtrlC(server).exit_code, 0u);
  EXPECT_EQ(ServiceStatus(kTunnelServiceName).dwCurrentState, DWORD{SERVICE_RUNNING});
  EXPECT_EQ(ReadFileBytes(ActiveConf()), kConf);
}

}  // namespace
}  // namespace veltrane::windows_tests
