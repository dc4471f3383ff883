// veltranectl confirm. The watchdog is played.

#include "client/watchdog/confirm.h"

#include <thread>

#include "tests/client/watchdog/on_watched_machine.h"

namespace veltrane {
namespace {

// Serves the watchdog's pipe once.
class PlayedWatchdog {
 public:
  // Answers with this, or with nothing when it is empty.
  explicit PlayedWatchdog(const std::string& answer)
      : pipe_(ServerPipe::Create({.name = kConfirmPipeName,
                                  .open_mode = 3,
                                  .max_instances = 1,
                                  .out_buffer_bytes = 4096,
                                  .in_buffer_bytes = 4096},
                                 nullptr)),
        thread_([this, answer] { Serve(answer); }) {}
  ~PlayedWatchdog() {
    if (thread_.joinable()) thread_.join();
  }

  std::string Heard() {
    thread_.join();
    return heard_;
  }

 private:
  void Serve(const std::string& answer) {
    pipe_->WaitForClient();
    std::string buffer(100, '\0');
    const auto size = pipe_->Read(buffer);
    heard_ = buffer.substr(0, size.value_or(0));
    if (!answer.empty()) pipe_->Write(answer);
    pipe_->Flush();
    pipe_->Disconnect();
  }

  std::optional<ServerPipe> pipe_;
  std::string heard_;
  std::thread thread_;
};

using ConfirmCommand = OnWatchedMachine;

TEST_F(ConfirmCommand, KeepsTheConnection) {
  PlayedWatchdog watchdog("confirmed\n");
  EXPECT_EQ(Run({"confirm"}), 0);
  EXPECT_EQ(side.Output(), "confirmed, the connection stays\n");
  EXPECT_EQ(side.Error(), "");
  EXPECT_EQ(watchdog.Heard(), "confirm\n");
}

TEST_F(ConfirmCommand, SaysSoAsJson) {
  PlayedWatchdog watchdog("confirmed\n");
  EXPECT_EQ(Run({"confirm", "--json"}), 0);
  EXPECT_EQ(side.Output(), "{\"ok\":true}\n");
}

TEST_F(ConfirmCommand, FindsNothingToConfirm) {
  EXPECT_EQ(Run({"confirm"}), 4);
  EXPECT_EQ(side.Output(), "");
  EXPECT_EQ(side.Error(), "veltranectl: nothing waits for a confirmation: veltranectl status\n");
}

TEST_F(ConfirmCommand, IsTooLate) {
  PlayedWatchdog watchdog("late\n");
  EXPECT_EQ(Run({"confirm", "--json"}), 8);
  EXPECT_EQ(side.Output(),
            R"({"ok":false,"error":"client_undone","message":"too late, the connection is being )"
            R"(undone: veltranectl status"})"
            "\n");
  EXPECT_EQ(side.Error(),
            "veltranectl: too late, the connection is being undone: veltranectl status\n");
}

TEST_F(ConfirmCommand, IsTooEarly) {
  PlayedWatchdog watchdog("early\n");
  EXPECT_EQ(Run({"confirm"}), 4);
  EXPECT_EQ(side.Error(),
            "veltranectl: the service has not answered the connect yet: try again when it has\n");
}

TEST_F(ConfirmCommand, IsNotForOtherUsers) {
  side.FailOpen(5);
  EXPECT_EQ(Run({"confirm"}), 4);
  EXPECT_EQ(side.Error(),
            "veltranectl: another user made the connection: confirm it as that user, or from an "
            "elevated prompt\n");
}

TEST_F(ConfirmCommand, SaysWhenNoAnswerCame) {
  PlayedWatchdog watchdog("");
  EXPECT_EQ(Run({"confirm"}), 6);
  EXPECT_EQ(
      side.Error(),
      "veltranectl: whatever serves the watchdog's pipe did not answer: veltranectl status\n");
}

TEST_F(ConfirmCommand, WaitsWhileAnotherProgramTalksToTheWatchdog) {
  PlayedWatchdog watchdog("confirmed\n");
  int waits = 0;
  side.FailOpen(231);
  side.OnWaitForPipe([&](std::uint32_t) {
    if (++waits == 10) side.FailOpen(0);
    return waits == 10 ? 0 : 121;
  });
  EXPECT_EQ(Run({"confirm"}), 0);
}

TEST_F(ConfirmCommand, WaitsForAnAnswerThatComesLate) {
  PlayedWatchdog watchdog("confirmed\n");
  side.DelayReply(14);
  EXPECT_EQ(Run({"confirm"}), 0);
  EXPECT_EQ(side.Output(), "confirmed, the connection stays\n");
}

TEST_F(ConfirmCommand, DoesNotWaitForEver) {
  side.FailOpen(231);
  side.OnWaitForPipe([](std::uint32_t) { return 121; });
  EXPECT_EQ(Run({"confirm"}), 6);
}

}  // namespace
}  // namespace veltrane
