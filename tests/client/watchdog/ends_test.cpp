// How the client can end, and what had happened to the connection by then.

#include "tests/client/watchdog/on_watched_machine.h"

namespace veltrane {
namespace {

class Ends;

// How the client ends, and after how many seconds the watchdog acts. The watch is one of 60 s.
struct End {
  const char* name;
  void (*arrange)(Ends&);
  double seconds;
};

// What is connected at that time, and what comes of it.
struct Happening {
  const char* name;
  void (*arrange)(Ends&);
  WatchEnd end;
  const char* told;  // the last line to the client
  bool tunnel_runs;
  double seconds;  // how long it takes
};

class Ends : public OnWatchedMachine,
             public testing::WithParamInterface<std::tuple<End, Happening>> {
 public:
  using OnWatchedMachine::At;
  using OnWatchedMachine::ConnectTo;
  using OnWatchedMachine::machine;
  using OnWatchedMachine::Say;
  using OnWatchedMachine::side;
  using OnWatchedMachine::StartService;
  using OnWatchedMachine::StopService;
};

const End kEnds[] = {
    {"ProcessEndsAtOnce", [](Ends& t) { t.side.watchdogs.ClientEnds(); }, 0},
    {"ProcessEndsBeforeTheReply", [](Ends& t) { t.At(5, [&t] { t.side.watchdogs.ClientEnds(); }); },
     5},
    {"ReplyIsLost", [](Ends& t) { t.Say(120, "lost"); }, 120},
    {"ClientHangsBeforeTheReply", [](Ends&) {}, 170},
    {"SessionEndsBeforeTheReply", [](Ends& t) { t.At(5, [&t] { t.side.watchdogs.MustEnd(); }); },
     5},
    {"ProcessEndsAfterTheReply",
     [](Ends& t) {
       t.Say(5, "answered");
       t.At(20, [&t] { t.side.watchdogs.ClientEnds(); });
     },
     20},
    {"NobodyConfirms", [](Ends& t) { t.Say(5, "answered"); }, 65},
    {"SessionEndsAfterTheReply",
     [](Ends& t) {
       t.Say(5, "answered");
       t.At(20, [&t] { t.side.watchdogs.MustEnd(); });
     },
     20},
    {"SessionAndProcessEndTogether",
     [](Ends& t) {
       t.Say(5, "answered");
       t.At(20, [&t] {
         t.side.watchdogs.MustEnd();
         t.side.watchdogs.ClientEnds();
       });
     },
     20},
};

const Happening kHappenings[] = {
    {"NothingIsConnected", [](Ends& t) { t.StartService(); }, WatchEnd::kUndone,
     "undone there is no connection any more", false, 0},
    {"Connected",
     [](Ends& t) {
       t.StartService();
       t.ConnectTo("office");
     },
     WatchEnd::kUndone, "undone the connection to \"office\" has been undone", false, 0},
    {"ConnectedWithATunnelThatHasEnded",
     [](Ends& t) {
       t.StartService();
       t.ConnectTo("office");
       t.machine.services.SetState(kTunnel, simulated::kStopped);
     },
     WatchEnd::kUndone, "undone the connection to \"office\" has been undone", false, 0},
    {"SomebodyElseIsConnected",
     [](Ends& t) {
       t.StartService();
       t.ConnectTo("fra-1");
     },
     WatchEnd::kUndone,
     "undone that connection has gone; somebody has connected to \"fra-1\" since, which was left "
     "alone",
     true, 0},
    {"TheServiceWasRestarted",
     [](Ends& t) {
       t.machine.services.Add(kTunnel, simulated::kRunning);
       t.StartService();
     },
     WatchEnd::kUndone,
     "undone the connection to \"office\" has been undone; the service did not know that tunnel "
     "(it had been restarted, or had refused a connect over it), so host routes that were pinned "
     "for it may stay until Windows restarts: route print -4",
     false, 0},
    {"TheServiceIsStopped",
     [](Ends& t) {
       t.StartService();
       t.ConnectTo("office");
       t.StopService();
     },
     WatchEnd::kNotUndone,
     "failed the connection to \"office\" could not be undone within 5 minutes, because the "
     "service "
     "is not running: sc.exe start VeltraneVpnTunnel, then .\\veltranectl disconnect",
     true, 300},
};

TEST_P(Ends, AreFollowedByAnUndoing) {
  const auto& [end, happening] = GetParam();
  happening.arrange(*this);
  side.watchdogs.ClientSays("sending");
  end.arrange(*this);
  EXPECT_EQ(KeepWatch({{"office", false}, 60}), happening.end);
  EXPECT_EQ(side.watchdogs.told, (Texts{"armed", "watching", happening.told}));
  EXPECT_EQ(TunnelRuns(), happening.tunnel_runs);
  EXPECT_DOUBLE_EQ(Seconds(), end.seconds + happening.seconds);
}

// Before anything is sent.
const End kEarlyEnds[] = {
    {"ProcessEndsAtOnce", [](Ends& t) { t.side.watchdogs.ClientEnds(); }, 0},
    {"ProcessEndsWhileThePipeIsBusy",
     [](Ends& t) { t.At(5, [&t] { t.side.watchdogs.ClientEnds(); }); }, 5},
    {"SessionEnds", [](Ends& t) { t.At(5, [&t] { t.side.watchdogs.MustEnd(); }); }, 5},
    {"ReplyIsSaidToBeLost", [](Ends& t) { t.Say(5, "lost"); }, 5},
    {"ClientHangs", [](Ends&) {}, 60},
};

class EarlyEnds : public Ends {};

TEST_P(EarlyEnds, LeaveEverythingAsItWas) {
  const auto& [end, happening] = GetParam();
  happening.arrange(*this);
  const bool ran = TunnelRuns();
  end.arrange(*this);
  EXPECT_EQ(KeepWatch({{"office", false}, 60}), WatchEnd::kNotSent);
  EXPECT_EQ(side.watchdogs.told, (Texts{"armed"}));
  EXPECT_EQ(TunnelRuns(), ran);
  EXPECT_DOUBLE_EQ(Seconds(), end.seconds);
}

std::string NameOf(const testing::TestParamInfo<std::tuple<End, Happening>>& test) {
  return std::string(std::get<0>(test.param).name) + "_" + std::get<1>(test.param).name;
}

INSTANTIATE_TEST_SUITE_P(EveryEnd, Ends,
                         testing::Combine(testing::ValuesIn(kEnds), testing::ValuesIn(kHappenings)),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(EveryEarlyEnd, EarlyEnds,
                         testing::Combine(testing::ValuesIn(kEarlyEnds),
                                          testing::ValuesIn(kHappenings)),
                         NameOf);

}  // namespace
}  // namespace veltrane
