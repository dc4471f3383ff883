#include "client/watchdog/undoing.h"

#include <optional>
#include <string_view>
#include <utility>

#include "client/exchange/exchange.h"
#include "client/exchange/reply.h"
#include "client/exchange/request.h"
#include "client/text/quoting.h"
#include "platform/clock.h"
#include "platform/service_codes.h"
#include "platform/service_facts.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {
namespace {

constexpr std::uint64_t kGiveUpMilliseconds = 300'000;
constexpr std::uint32_t kTryAgainMilliseconds = 2000;
constexpr std::uint32_t kBusySeconds = 2;
constexpr int kPolls = 30;
constexpr std::uint32_t kPollMilliseconds = 1000;

constexpr char kThenDisconnect[] = ".\\veltranectl disconnect";

constexpr char kPinsStay[] =
    "; the service did not know that tunnel (it had been restarted, or had refused a connect over "
    "it), so host routes that were pinned for it may stay until Windows restarts: route print -4";

// The tunnel's service, as Windows knows it.
enum class TunnelService {
  kGone,  // it has stopped, or does not exist
  kThere,
  kUnknown,  // Windows does not say: somebody has forbidden it
};

// The service says that a tunnel does not run while it starts, and while it stops. Windows knows
// better.
TunnelService ReadTunnelService() {
  const Result<ServiceFacts> tunnel = ReadServiceFacts(kTunnelServiceName);
  if (tunnel.Error() == kErrorServiceDoesNotExist) return TunnelService::kGone;
  if (!tunnel) return TunnelService::kUnknown;
  return tunnel->state == kServiceStopped ? TunnelService::kGone : TunnelService::kThere;
}

class Undoer {
 public:
  Undoer(const MadeConnection& made, const Meanwhile& meanwhile)
      : made_(made), meanwhile_(meanwhile) {}

  // nullopt when it has to be tried again; what is in the way is in problem_.
  std::optional<Undoing> Try() {
    const std::optional<std::string> text = Ask("status");
    if (!text) return std::nullopt;
    const std::optional<Reply> status = ReadReply(*text);
    if (std::optional<Undoing> done = Judge(status)) return done;
    if (KnowsNothingOfIt(status)) tunnel_unknown_ = true;
    return Disconnect() ? AwaitEnd() : std::nullopt;
  }

  Undoing GiveUp() const {
    return {false, "the connection to " + Quoted(made_.node_id) +
                       " could not be undone within 5 minutes, because " + problem_ + ": " +
                       advice_};
  }

 private:
  static bool IsConnected(const Reply& status) { return status.phase == "connected"; }

  // Whether there is a tunnel that the service says it has not made, and never said that it had.
  bool KnowsNothingOfIt(const std::optional<Reply>& status) const {
    return status && status->ok && !IsConnected(*status) && !disconnected_ &&
           (status->tunnel_running == true || ReadTunnelService() == TunnelService::kThere);
  }

  // Whether the reply says that nothing is left to undo, or that it is not ours to undo.
  std::optional<Undoing> Judge(const std::optional<Reply>& status) const {
    if (!status || !status->ok) return std::nullopt;
    if (IsConnected(*status)) {
      if (status->node_id == made_.node_id) return std::nullopt;
      return Undoing{true, (disconnected_ ? Undone() : "that connection has gone") +
                               "; somebody has connected to " + Quoted(status->node_id) +
                               " since, which was left alone"};
    }
    if (status->tunnel_running != false || ReadTunnelService() != TunnelService::kGone) {
      return std::nullopt;
    }
    return Undoing{true, disconnected_ ? Undone() : "there is no connection any more"};
  }

  std::string Undone() const {
    return "the connection to " + Quoted(made_.node_id) + " has been undone" +
           (tunnel_unknown_ ? kPinsStay : "");
  }

  bool Disconnect() {
    const std::optional<std::string> text = Ask("disconnect");
    if (!text) return false;
    const std::optional<Reply> reply = ReadReply(*text);
    if (reply && !reply->ok) {
      Note("the service refused: " + Shown(reply->message), kThenDisconnect);
      return false;
    }
    disconnected_ = true;
    return true;
  }

  std::optional<Undoing> AwaitEnd() {
    for (int poll = 0; poll < kPolls; ++poll) {
      const std::optional<std::string> text = Ask("status");
      if (!text) return std::nullopt;
      const std::optional<Reply> status = ReadReply(*text);
      if (std::optional<Undoing> done = Judge(status)) return done;
      Note("the tunnel has not stopped after a disconnect", kThenDisconnect);
      if (!status || status->tunnel_running != false || IsConnected(*status)) return std::nullopt;
      meanwhile_(kPollMilliseconds);
    }
    if (ReadTunnelService() != TunnelService::kUnknown) return std::nullopt;
    return Undoing{true, Undone()};
  }

  // A whole exchange; nullopt when no reply came, which is in problem_ then.
  std::optional<std::string> Ask(std::string_view op) {
    const WaitObserver observer = [this](std::uint32_t) { meanwhile_(0); };
    ServicePipe service = OpenServicePipe(made_.any_server, kBusySeconds, observer);
    if (!service.pipe) {
      const bool unreachable = service.failure.kind == FailureKind::kUnreachable;
      Note(service.failure.what,
           (unreachable ? service.failure.next + ", then " : "") + kThenDisconnect);
      return std::nullopt;
    }
    ExchangeResult result = Exchange(*service.pipe, PlainRequest(op), observer);
    if (!result.reply) Note(result.failure.what, kThenDisconnect);
    return std::move(result.reply);
  }

  void Note(std::string problem, std::string advice) {
    problem_ = std::move(problem);
    advice_ = std::move(advice);
  }

  const MadeConnection& made_;
  const Meanwhile& meanwhile_;
  bool disconnected_ = false;    // the service has taken our disconnect
  bool tunnel_unknown_ = false;  // a tunnel ran that the service did not know
  std::string problem_;          // what was in the way last
  std::string advice_;           // what to do about it
};

}  // namespace

Undoing Undo(const MadeConnection& made, const Meanwhile& meanwhile) {
  Undoer undoer(made, meanwhile);
  const std::uint64_t give_up = UptimeMilliseconds() + kGiveUpMilliseconds;
  for (;;) {
    if (std::optional<Undoing> undoing = undoer.Try()) return *undoing;
    if (UptimeMilliseconds() >= give_up) return undoer.GiveUp();
    meanwhile(kTryAgainMilliseconds);
  }
}

}  // namespace veltrane
