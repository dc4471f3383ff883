// What a machine closes when the program's process ends wherever its threads are, and who conducts.

#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/pipes.h"
#include "platform/service_codes.h"
#include "platform/services.h"
#include "tests/simulated/machine.h"
#include "tests/simulated/pipe_client.h"

namespace veltrane::simulated {
namespace {

// An object that its owner never destroys, as on a thread that is gone. The list, which nobody
// destroys either, tells a leak checker that this is meant.
template <typename Object>
void Abandon(Object object) {
  static auto& abandoned = *new std::vector<Object*>;
  abandoned.push_back(new Object(std::move(object)));
}

class ProcessEnd : public testing::Test {
 protected:
  Machine machine;
};

TEST_F(ProcessEnd, ClosesServiceHandles) {
  machine.services.Add(L"Tunnel");
  auto manager = ServiceManager::Open(kManagerAllAccess);
  auto service = manager->OpenExisting(L"Tunnel", kDelete);
  service->Delete();
  Abandon(std::move(*service));
  Abandon(std::move(*manager));
  EXPECT_EQ(machine.services.OpenHandles(), 2);
  machine.EndProcess();
  EXPECT_EQ(machine.services.OpenHandles(), 0);
  EXPECT_FALSE(machine.services.Find(L"Tunnel"));  // it was marked
}

TEST_F(ProcessEnd, LosesWhatAStreamHasKeptBack) {
  auto file = OutputFile::Open(L"C:\\a");
  file->Write("kept");
  Abandon(std::move(*file));
  machine.EndProcess();
  EXPECT_EQ(machine.files.OpenStreams(), 0);
  EXPECT_EQ(machine.files.Bytes(L"C:\\a"), "");
  EXPECT_TRUE(RemoveFile(L"C:\\a"));
}

TEST_F(ProcessEnd, EndsTheConnectionsOfItsPipes) {
  auto pipe = ServerPipe::Create({.name = L"\\\\.\\pipe\\p", .max_instances = 1}, nullptr);
  Abandon(std::move(*pipe));
  PipeClient client(L"\\\\.\\pipe\\p");
  client.Connect();
  machine.EndProcess();
  EXPECT_EQ(client.Receive(), std::nullopt);
  EXPECT_EQ(client.TryConnect(), 2U);
}

// Lets every call of a name fail.
class Failing : public Conductor {
 public:
  std::optional<std::uint32_t> AtCall(const std::string& name, const std::string& text) override {
    calls.push_back(text);
    return name == "RemoveFile" ? std::optional<std::uint32_t>(5) : std::nullopt;
  }
  void Wait(std::unique_lock<std::mutex>& /*lock*/, const std::function<bool()>& ready) override {
    EXPECT_TRUE(ready());
  }
  void Sleep(std::uint32_t milliseconds) override { slept = milliseconds; }

  std::vector<std::string> calls;
  std::uint32_t slept = 0;
};

TEST_F(ProcessEnd, AConductorHearsOfEveryCallAndDecidesWhichFail) {
  Failing conductor;
  machine.Conduct(&conductor);
  machine.files.AddFile(L"C:\\a", "");
  EXPECT_FALSE(RemoveFile(L"C:\\a"));
  EXPECT_TRUE(machine.files.Exists(L"C:\\a"));
  SleepMilliseconds(70);
  EXPECT_EQ(conductor.slept, 70U);
  EXPECT_EQ(conductor.calls, (std::vector<std::string>{"RemoveFile C:\\a", "Sleep 70"}));
  machine.Conduct(nullptr);
  EXPECT_TRUE(RemoveFile(L"C:\\a"));
}

}  // namespace
}  // namespace veltrane::simulated
