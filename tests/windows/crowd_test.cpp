// The pipe under many clients at once, and under those that behave badly.

#include "tests/windows/crowd.h"

#include <cstdio>
#include <filesystem>
#include <optional>

#include "ipc/pipe_name.h"
#include "lab/process_usage.h"
#include "tests/windows/clean_machine.h"
#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"
#include "tests/windows/suspended.h"
#include "tests/windows/wait.h"

namespace veltrane::windows_tests {
namespace {

constexpr int kRequests = 5000;
constexpr int kClients = 16;
constexpr int kRequestsBetweenDisturbances = 250;
constexpr int kRequestsBetweenLines = 1000;
constexpr int kDisturbancesPerRound = 6;

// An actor of tests/client_windows/pipe_actor.cpp, once it has printed its word.
class Actor : public Process {
 public:
  explicit Actor(const std::wstring& arguments)
      : Process(TestFolder() + L"\\pipe_actor.exe", arguments) {
    WaitFor("ready\n");
  }

  void WaitFor(const std::string& printed) const {
    EXPECT_TRUE(WaitUntil([&] { return Output().ends_with(printed); })) << Output();
  }
};

// A message of `size` bytes that registers the crowd's nonce again.
std::string RegistrationOfSize(std::size_t size) {
  const std::string head = R"({"op":"register_session","session_nonce":"crowd","filler":")";
  return head + std::string(size - head.size() - 2, 'f') + R"("})";
}

class FullHouse : public CleanMachine {
 protected:
  // Somebody else owns the pipe's name; then he is gone, and a service that waited has it.
  void TakeThePipeOver() {
    Actor impostor(LR"(serve "not the service")");
    server_.emplace(Variables{{L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", L"1"}});
    EXPECT_EQ(Ask(kStatus), "not the service");
    impostor.Kill();
    EXPECT_EQ(AskToTheEnd(kStatus), R"({"ok":true,"phase":"disconnected","tunnel_running":false,)" +
                                        kFreshBypass + "," + kFreshGuard + "}");
  }

  // Leads to the state in which every exchange of the crowd has its reply.
  static void PrepareForCrowd() {
    AskToTheEnd(R"({"op":"register_session","session_nonce":")" + std::string(kCrowdNonce) + "\"}");
    AskToTheEnd(ExchangeOfNumber(0).request);
    ExpectAnsweredAsAtFirst();
  }

  static void ExpectAnsweredAsAtFirst() {
    const Exchange status = ExchangeOfNumber(1);
    EXPECT_EQ(AskToTheEnd(status.request), status.reply);
  }

  // Nobody reads while the service is suspended, so the write of more than the pipe's buffer holds
  // cannot be done when the process ends.
  void KillAClientInTheMiddleOfItsWrite() const {
    const std::filesystem::path signal = TestFolder() + L"\\begin-to-write";
    Actor client(L"write 1048576 \"" + signal.wstring() + L"\"");
    const Suspended service(server_->Id());
    PutFile(signal, "");
    client.WaitFor("writing\n");
    client.Kill();
    std::filesystem::remove(signal);
  }

  static void LeaveAReplyUnread() {
    Actor client(LR"(ask "{\"op\":\"status\"}")");
    EXPECT_EQ(TryToConnect(), DWORD{ERROR_PIPE_BUSY});
    client.Kill();
  }

  static void ConnectAndSayNothing() {
    const PipeConnection connection;
    EXPECT_EQ(TryToConnect(), DWORD{ERROR_PIPE_BUSY});
  }

  static void LeaveBeforeTheReply() {
    PipeConnection connection;
    EXPECT_TRUE(connection.Write(kStatus));
  }

  static void SendTheLargestMessagesThere() {
    EXPECT_EQ(AskToTheEnd(RegistrationOfSize(65535)), R"({"ok":true,"phase":"disconnected"})");
    EXPECT_EQ(AskToTheEnd(RegistrationOfSize(65536)), "(no reply)");
  }

  void Disturb() const {
    KillAClientInTheMiddleOfItsWrite();
    LeaveAReplyUnread();
    ConnectAndSayNothing();
    LeaveBeforeTheReply();
    SendTheLargestMessagesThere();
  }

  // What the service has open while it waits for a request.
  ProcessUsage UsageOfWaitingServer() const {
    const PipeConnection connection;
    const ProcessUsage usage = SettledUsageOf(server_->Id());
    EXPECT_GT(usage.handles, 0u);
    return usage;
  }

  std::optional<ConsoleServer> server_;
};

TEST_F(FullHouse, GetsEveryReplyWhateverSomeClientsDo) {
  TakeThePipeOver();
  PrepareForCrowd();
  Disturb();
  ASSERT_FALSE(HasFailure());
  const ProcessUsage usage = UsageOfWaitingServer();

  int rounds = 0;
  Crowd crowd(kClients, kRequests);
  crowd.LetBegin(kRequestsBetweenDisturbances);
  for (int goal = kRequestsBetweenDisturbances; goal < kRequests;
       goal += kRequestsBetweenDisturbances) {
    ASSERT_TRUE(crowd.WaitForAnswers(goal - kClients)) << "nobody is answered any more";
    // The crowd goes on meanwhile, but not so far that a later round would have no crowd.
    crowd.LetBegin(goal + kRequestsBetweenDisturbances);
    Disturb();
    ASSERT_FALSE(HasFailure());
    ++rounds;
    if (goal % kRequestsBetweenLines == 0) {
      std::printf("soak: pipe: %d of %d requests\n", crowd.Answers(), kRequests);
      std::fflush(stdout);
    }
  }
  crowd.Wait();

  EXPECT_EQ(crowd.Wrong(), std::vector<std::string>());
  ExpectAnsweredAsAtFirst();
  const ProcessUsage usage_at_the_end = UsageOfWaitingServer();
  EXPECT_EQ(usage_at_the_end.handles, usage.handles);
  EXPECT_EQ(usage_at_the_end.threads, usage.threads);
  std::printf(
      "soak: pipe: %d requests of %d clients and %d disturbances, %zu wrong replies; "
      "%u handles and %u threads before, %u and %u after\n",
      crowd.Answers(), kClients, rounds * kDisturbancesPerRound, crowd.Wrong().size(),
      usage.handles, usage.threads, usage_at_the_end.handles, usage_at_the_end.threads);
}

}  // namespace
}  // namespace veltrane::windows_tests
