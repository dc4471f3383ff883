// platform/services.h: the program's own side of the service control manager.

#include <atomic>
#include <stdexcept>
#include <thread>

#include "platform/clock.h"
#include "platform/service_codes.h"
#include "platform/services.h"
#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

constexpr wchar_t kName[] = L"VeltraneContractProgram";
constexpr std::uint32_t kControlInterrogate = 4;

// What the functions of a program that serves share.
struct {
  std::thread::id dispatcher_thread;
  std::thread::id main_thread;
  std::thread::id handler_thread;
  std::atomic<bool> stopping = false;
} program;

void HandleControl(std::uint32_t control) {
  Tell("control " + std::to_string(control));
  program.handler_thread = std::this_thread::get_id();
  if (control == kControlStop) program.stopping = true;
}

// Runs until it is told to stop.
ServiceStatusHandle ServeUntilStopped() {
  program.main_thread = std::this_thread::get_id();
  const ServiceStatusHandle handle = RegisterControlHandler(kName, &HandleControl);
  Tell(handle != nullptr ? "registered" : "not registered");
  ReportServiceStatus(handle, {.type = kServiceOwnProcess, .state = kServiceStartPending});
  ReportServiceStatus(handle, {.type = kServiceOwnProcess,
                               .state = kServiceRunning,
                               .controls_accepted = kAcceptStop,
                               .check_point = 5,
                               .wait_hint_ms = 12'345});
  ReportServiceStatus(nullptr, {.type = kServiceOwnProcess, .state = kServiceStopPending});
  while (!program.stopping) SleepMilliseconds(5);
  return handle;
}

void Serve() {
  ReportServiceStatus(ServeUntilStopped(), {.type = kServiceOwnProcess,
                                            .state = kServiceStopped,
                                            .exit_code = 1066,
                                            .specific_exit_code = 42});
}

void Throw() {
  ServeUntilStopped();
  throw std::runtime_error("out of a service");
}

void Dispatch(void (*service_main)()) {
  program.dispatcher_thread = std::this_thread::get_id();
  program.stopping = false;
  Tell("dispatcher " + std::to_string(RunServiceDispatcher(kName, service_main)));
}

using ServiceProgram = Contract;

GUEST(ServingProgram) { Dispatch(&Serve); }

TEST_F(ServiceProgram, IsRunUntilItHasStopped) {
  RunningService service(stage, ServingProgram);
  service.WaitForState(kServiceRunning);
  service.Send(kControlInterrogate);
  service.Send(kControlStop);
  EXPECT_EQ(service.WaitForEnd().told,
            (std::vector<std::string>{"registered", "control 4", "control 1", "dispatcher 0"}));
}

TEST_F(ServiceProgram, ReportsEveryMemberOfItsStatus) {
  RunningService service(stage, ServingProgram);
  const ServiceStatus running = service.WaitForState(kServiceRunning);
  EXPECT_EQ(running.type, kServiceOwnProcess);
  EXPECT_EQ(running.controls_accepted, kAcceptStop);
  EXPECT_EQ(running.exit_code, 0U);
  EXPECT_EQ(running.specific_exit_code, 0U);
  EXPECT_EQ(running.check_point, 5U);
  EXPECT_EQ(running.wait_hint_ms, 12'345U);
  service.Send(kControlStop);
  const ServiceStatus stopped = service.WaitForState(kServiceStopped);
  EXPECT_EQ(stopped.controls_accepted, 0U);
  EXPECT_EQ(stopped.exit_code, 1066U);
  EXPECT_EQ(stopped.specific_exit_code, 42U);
  EXPECT_EQ(stopped.check_point, 0U);
  EXPECT_EQ(stopped.wait_hint_ms, 0U);
  service.WaitForEnd();
}

GUEST(ProgramThatTellsThreads) {
  Dispatch(&Serve);
  Tell(program.main_thread != program.dispatcher_thread ? "main apart" : "main together");
  Tell(program.handler_thread != program.main_thread ? "controls apart" : "controls together");
  Tell(program.handler_thread == program.dispatcher_thread ? "on the dispatcher's" : "elsewhere");
}

TEST_F(ServiceProgram, HasItsMainFunctionAndItsControlsOnThreadsApart) {
  RunningService service(stage, ProgramThatTellsThreads);
  service.WaitForState(kServiceRunning);
  service.Send(kControlStop);
  const std::vector<std::string> told = service.WaitForEnd().told;
  EXPECT_EQ(told.at(3), "main apart");
  EXPECT_EQ(told.at(4), "controls apart");
}

TEST_F(ServiceProgram, ReceivesControlsOnTheDispatchersThread) {
  NOT_ON_WINE("controls come on a thread of their own");
  RunningService service(stage, ProgramThatTellsThreads);
  service.WaitForState(kServiceRunning);
  service.Send(kControlStop);
  EXPECT_EQ(service.WaitForEnd().told.at(5), "on the dispatcher's");
}

GUEST(ThrowingProgram) { Dispatch(&Throw); }

TEST_F(ServiceProgram, EndsWithAnExceptionThatLeavesItsMainFunction) {
  EXPECT_TRUE(AbortsWhenStopped(stage, ThrowingProgram));
}

TEST_F(ServiceProgram, CannotDispatchUnlessTheManagerStartedIt) {
  stage.BeStartedByHand();
  EXPECT_EQ(RunServiceDispatcher(kName, [] { FAIL() << "the service was run"; }), 1063U);
}

TEST_F(ServiceProgram, CannotRegisterControlsWithoutADispatcher) {
  EXPECT_EQ(RegisterControlHandler(kName, [](std::uint32_t) {}), nullptr);
}

}  // namespace
}  // namespace veltrane::contract
