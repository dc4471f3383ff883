// platform/watchdog.h: a watchdog, which is a guest, and its client, which is the case.

#include "platform/watchdog.h"

#include "platform/pipe_client.h"
#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

constexpr std::uint32_t kMinute = 60'000;

std::string Narrow(const std::wstring& ascii) { return {ascii.begin(), ascii.end()}; }

// Watches until the client says "end". Reports what happens to the client, and the end of the
// client to the case.
GUEST(KeepPost) {
  Result<WatchPost> opening = WatchPost::Open();
  if (!opening) return Tell("no post: " + std::to_string(opening.Error()));
  WatchPost post = std::move(*opening);
  for (;;) {
    const WatchEvent event = post.Wait(kMinute);
    const std::string& line = event.line;
    switch (event.kind) {
      case WatchEventKind::kLine:
        if (line == "end") return;
        if (line.starts_with("begin ")) {
          const AccessEntry system{.sid = MakeSystemSid().value(), .access_mask = kGenericAll};
          const AccessEntry user{.sid = ReadOwnUserSid().value(), .access_mask = kGenericAll};
          const std::wstring pipe(line.begin() + 6, line.end());
          post.Tell("begun " + std::to_string(post.Begin(pipe, {system, user})));
        } else if (line.starts_with("argument ")) {
          post.Tell(OwnArguments().at(std::stoul(line.substr(9))));
        } else {
          post.Tell("line " + line);
        }
        break;
      case WatchEventKind::kClientEnded:
        return Tell("client ended");
      case WatchEventKind::kRequest:
        post.Tell("request " + line);
        post.Answer("answer to " + line);
        break;
      case WatchEventKind::kMustEnd:
        post.Tell("must end");
        break;
      case WatchEventKind::kTimeUp:
        return Tell("time is up");
    }
  }
}

class Watchdogs : public Contract {
 protected:
  ~Watchdogs() override {
    if (!watchdog) return;
    watchdog->Say("end");
    std::string line;
    while (watchdog->Hear(kMinute, line) == Watchdog::Progress::kLine) {
    }
  }

  void Start(const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments = stage.GuestArguments(KeepPost);
    arguments.insert(arguments.end(), more.begin(), more.end());
    watchdog = Take(Watchdog::Start(arguments));
  }

  void StartAndBegin() {
    Start();
    EXPECT_EQ(Ask("begin " + Narrow(stage.PipeName())), "begun 0");
  }

  // The next line of the watchdog's.
  std::string Hear() {
    std::string line;
    const Watchdog::Progress progress = watchdog->Hear(kMinute, line);
    return progress == Watchdog::Progress::kLine ? line : "(none)";
  }

  std::string Ask(const std::string& line) {
    EXPECT_TRUE(watchdog->Say(line));
    return Hear();
  }

  ClientPipe Open() { return Take(ClientPipe::Open(stage.PipeName())); }

  ClientPipe OpenEventually() {
    std::optional<ClientPipe> pipe;
    EXPECT_TRUE(Eventually([&] {
      Result<ClientPipe> opening = ClientPipe::Open(stage.PipeName());
      if (opening) pipe = std::move(*opening);
      return pipe.has_value();
    }));
    return std::move(pipe.value());
  }

  std::optional<ServerPipe> CreatePipe(std::uint32_t instances) {
    return ServerPipe::Create(
        {stage.PipeName(), kPipeAccessDuplex, kPipeTypeMessage | kPipeReadModeMessage | kPipeWait,
         instances, 512, 512, 0},
        nullptr);
  }

  static std::string Answer(ClientPipe& program) {
    std::string answer;
    while (answer.find('\n') == std::string::npos &&
           program.Receive(1000, answer) == ClientPipe::Progress::kPending) {
    }
    return answer;
  }

  std::optional<Watchdog> watchdog;
};

TEST_F(Watchdogs, HearLinesInTheirOrder) {
  Start();
  watchdog->Say("one");
  watchdog->Say("two");
  EXPECT_EQ(Hear(), "line one");
  EXPECT_EQ(Hear(), "line two");
}

TEST_F(Watchdogs, HearEmptyLinesAndLongOnes) {
  Start();
  EXPECT_EQ(Ask(""), "line ");
  const std::string text(4000, 'x');
  EXPECT_EQ(Ask(text), "line " + text);
}

TEST_F(Watchdogs, GetTheirArgumentsAsTheyAre) {
  const std::vector<std::string> odd = {
      "",       "two words",     "B\xC3\xBCro",     "\"quoted\"",
      "back\\", "back \\\\\" x", "tab\tand \\ x\\", "--option=\xE2\x82\xAC"};
  Start(odd);
  for (std::size_t i = 0; i < odd.size(); ++i) {
    EXPECT_EQ(Ask("argument " + std::to_string(i)), odd[i]);
  }
}

TEST_F(Watchdogs, SayNothingInTimeWhenTheyHaveNothingToSay) {
  Start();
  std::string line = "before";
  EXPECT_EQ(watchdog->Hear(20, line), Watchdog::Progress::kNothing);
  EXPECT_EQ(line, "before");
  EXPECT_EQ(Ask("one"), "line one");
}

TEST_F(Watchdogs, AreHeardToTheLastLineBeforeTheyEnd) {
  Start();
  watchdog->Say("last");
  watchdog->Say("end");
  std::string line;
  ASSERT_TRUE(Eventually([&] { return !watchdog->Say("gone?"); }));
  EXPECT_EQ(watchdog->Hear(kMinute, line), Watchdog::Progress::kLine);
  EXPECT_EQ(line, "line last");
  EXPECT_EQ(watchdog->Hear(kMinute, line), Watchdog::Progress::kEnded);
  EXPECT_EQ(watchdog->Hear(kMinute, line), Watchdog::Progress::kEnded);
}

TEST_F(Watchdogs, LearnThatTheClientHasEnded) {
  Start();
  Ask("one");
  watchdog.reset();
  EXPECT_TRUE(
      Eventually([&] { return stage.ToldByGuest() == std::vector<std::string>{"client ended"}; }));
}

TEST_F(Watchdogs, TakeARequestAndAnswerIt) {
  StartAndBegin();
  ClientPipe program = Open();
  program.Send("first\n");
  EXPECT_EQ(Hear(), "request first");
  EXPECT_EQ(Answer(program), "answer to first\n");
}

TEST_F(Watchdogs, TakeARequestThatComesInPieces) {
  StartAndBegin();
  ClientPipe program = Open();
  program.Send("fi");
  EXPECT_EQ(Ask("one"), "line one");
  program.Send("rst\n");
  EXPECT_EQ(Hear(), "request first");
}

TEST_F(Watchdogs, TakeOneRequestAfterTheOther) {
  StartAndBegin();
  for (const std::string name : {"first", "second", "third"}) {
    ClientPipe program = OpenEventually();
    program.Send(name + "\n");
    EXPECT_EQ(Hear(), "request " + name);
    EXPECT_EQ(Answer(program), "answer to " + name + "\n");
  }
}

TEST_F(Watchdogs, GoOnWhileAProgramSaysNothingAndThenServeTheNext) {
  StartAndBegin();
  const ClientPipe silent = Open();
  EXPECT_EQ(Ask("one"), "line one");
  EXPECT_EQ(ClientPipe::Open(stage.PipeName()).Error(), kErrorPipeBusy);
  ClientPipe next = OpenEventually();
  next.Send("second\n");
  EXPECT_EQ(Hear(), "request second");
}

TEST_F(Watchdogs, CannotBeginWhileAnotherOneWatches) {
  const std::optional<ServerPipe> other = CreatePipe(1);
  ASSERT_TRUE(other.has_value());
  Start();
  EXPECT_EQ(Ask("begin " + Narrow(stage.PipeName())), "begun 5");
}

TEST_F(Watchdogs, CannotBeginWhileThereIsAnyPipeOfThatName) {
  NOT_ON_WINE("whoever says that a pipe is the first of its name is not asked");
  const std::optional<ServerPipe> other = CreatePipe(2);
  ASSERT_TRUE(other.has_value());
  Start();
  EXPECT_EQ(Ask("begin " + Narrow(stage.PipeName())), "begun 5");
}

TEST_F(Watchdogs, KeepTheNameForThemselves) {
  StartAndBegin();
  EXPECT_FALSE(CreatePipe(2).has_value());
}

TEST_F(Watchdogs, LearnThatTheSessionEnds) {
  StartAndBegin();
  stage.EndSession();
  EXPECT_EQ(Hear(), "must end");
  EXPECT_EQ(Ask("one"), "line one");
}

TEST_F(Watchdogs, InheritNothingElse) {
  NOT_SIMULATED("nothing is inherited");
  EXPECT_FALSE(stage.IsInheritedBy([this] { Start(); }));
}

GUEST(StartAWatchdog) {
  const Watchdog started = Take(Watchdog::Start({"--guest", "KeepPost", "nul"}));
  Tell(started.HasLeftJob() ? "has left the job" : "is in the job");
}

TEST_F(Watchdogs, LeaveTheJobOfTheirClientWhereThatIsAllowed) {
  EXPECT_EQ(stage.RunInJob(true, StartAWatchdog).told,
            (std::vector<std::string>{"has left the job"}));
}

TEST_F(Watchdogs, StayInTheJobOfTheirClientWhereTheyMust) {
  EXPECT_EQ(stage.RunInJob(false, StartAWatchdog).told,
            (std::vector<std::string>{"is in the job"}));
}

TEST_F(Watchdogs, HaveNoPostWithoutPipes) {
  EXPECT_EQ(stage.RunInTerminal(80, KeepPost).told, (std::vector<std::string>{"no post: 222"}));
}

}  // namespace
}  // namespace veltrane::contract
