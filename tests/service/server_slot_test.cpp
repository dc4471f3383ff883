#include "service/server_slot.h"

#include "tests/service/program.h"

namespace veltrane {
namespace {

using ServerSlot = OnSteppedMachine;

TEST_F(ServerSlot, HoldsTheNewServerWhichIsNotStarted) {
  EXPECT_EQ(RegisteredServer(), nullptr);
  IpcServer& server = RegisterNewServer();
  EXPECT_EQ(RegisteredServer(), &server);
  EXPECT_FALSE(server.running);
  EXPECT_FALSE(server.server_thread.joinable());
}

TEST_F(ServerSlot, ANewServerReplacesARunningOneWhichIsStopped) {
  IpcServer& first = RegisterNewServer();
  first.Start();
  machine.pipes.WaitUntilServerWaits();
  IpcServer& second = RegisterNewServer();
  EXPECT_EQ(RegisteredServer(), &second);
  EXPECT_NE(&first, &second);
  EXPECT_FALSE(second.running);
  EXPECT_EQ(machine.pipes.OpenInstances(), 0u);
}

// The server that is registered while a running one is destroyed, which connects to its own pipe.
class ServerSlotMeanwhile : public ServerSlot {
 protected:
  ServerSlotMeanwhile() {
    first->Start();
    machine.pipes.WaitUntilServerWaits();
    machine.OnCall("OpenAndClosePipe", 1, [this] { registered = RegisteredServer(); });
  }

  IpcServer* const first = &RegisterNewServer();
  std::optional<IpcServer*> registered;
};

TEST_F(ServerSlotMeanwhile, HoldsTheOldServerUntilThatIsDestroyedAndANewOneComes) {
  RegisterNewServer();
  EXPECT_EQ(registered, first);
}

TEST_F(ServerSlotMeanwhile, IsEmptyBeforeAReleasedServerIsDestroyed) {
  ReleaseServer();
  EXPECT_EQ(registered, nullptr);
}

TEST_F(ServerSlot, ReleasingStopsTheServerAndEmptiesTheSlot) {
  RegisterNewServer().Start();
  machine.pipes.WaitUntilServerWaits();
  ReleaseServer();
  EXPECT_EQ(RegisteredServer(), nullptr);
  EXPECT_EQ(machine.pipes.OpenInstances(), 0u);
}

TEST_F(ServerSlot, ReleasingAnEmptySlotDoesNothing) {
  ReleaseServer();
  EXPECT_EQ(RegisteredServer(), nullptr);
  EXPECT_EQ(machine.calls.All(), Texts{});
}

}  // namespace
}  // namespace veltrane
