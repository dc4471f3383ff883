#include "client/watchdog/watchdog.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "client/text/utf8.h"
#include "client/text/windows_error.h"
#include "client/watchdog/words.h"
#include "platform/clock.h"
#include "platform/file_input.h"
#include "platform/security.h"
#include "platform/watchdog.h"

namespace veltrane {
namespace {

constexpr std::uint64_t kLongestWait = 60'000;

// Whoever may use the connection may confirm it: the user himself, in whichever session, and those
// who may do anything.
std::optional<std::vector<AccessEntry>> WhoMayConfirm() {
  std::vector<AccessEntry> entries;
  for (const std::optional<Sid>& sid :
       {MakeSystemSid(), MakeAdministratorsSid(), ReadOwnUserSid()}) {
    if (!sid) return std::nullopt;
    entries.push_back({.sid = *sid,
                       .trustee_type = TrusteeType::kUser,
                       .access_mask = kGenericRead | kGenericWrite | kSynchronize});
  }
  return entries;
}

std::string Sentence(std::string_view word, const std::string& text) {
  const std::string line = std::string(word) + " " + Printable(text);
  return line.substr(0, kLongestLine - 1);
}

class Watcher {
 public:
  Watcher(WatchPost post, const Watch& watch) : post_(std::move(post)), watch_(watch) {}

  WatchEnd Run() {
    SetDeadline(kSendSeconds);
    post_.Tell(kWordArmed);
    while (!end_) {
      const std::uint64_t now = UptimeMilliseconds();
      const std::uint64_t left = deadline_ - std::min(now, deadline_);
      const WatchEvent event = post_.Wait(static_cast<std::uint32_t>(std::min(left, kLongestWait)));
      if (UptimeMilliseconds() >= deadline_) {
        if (event.kind == WatchEventKind::kRequest) post_.Answer(kWordLate);
        End();
      } else {
        Heed(event);
      }
    }
    return *end_;
  }

 private:
  void SetDeadline(std::uint32_t seconds) {
    deadline_ = UptimeMilliseconds() + std::uint64_t{seconds} * 1000;
  }

  void Heed(const WatchEvent& event) {
    switch (event.kind) {
      case WatchEventKind::kLine:
        return HeedClient(event.line);
      case WatchEventKind::kRequest:
        return HeedRequest(event.line);
      case WatchEventKind::kClientEnded:
      case WatchEventKind::kMustEnd:
        return End();
      case WatchEventKind::kTimeUp:
        break;
    }
  }

  void HeedClient(const std::string& word) {
    if (word == kWordLost) return End();
    if (word == kWordRefused) end_ = WatchEnd::kRefused;
    if (word == kWordConfirmed) Confirm();
    if (word == kWordSending && !sent_) {
      sent_ = true;
      SetDeadline(kAnswerSeconds);
      post_.Tell(kWordWatching);
    }
    if (word == kWordAnswered && !answered_) {
      sent_ = answered_ = true;
      SetDeadline(watch_.seconds);
    }
  }

  void HeedRequest(const std::string& word) {
    if (word != kWordConfirm) return post_.Answer(kWordUnknown);
    if (!answered_) return post_.Answer(kWordEarly);
    post_.Answer(kWordConfirmed);
    Confirm();
  }

  void Confirm() {
    end_ = WatchEnd::kConfirmed;
    post_.Tell(kWordConfirmed);
  }

  // What is made is undone; before that there is nothing to undo.
  void End() {
    if (sent_) return UndoNow();
    end_ = WatchEnd::kNotSent;
  }

  void UndoNow() {
    const Undoing undoing =
        Undo(watch_.made, [this](std::uint32_t milliseconds) { TurnAway(milliseconds); });
    end_ = undoing.undone ? WatchEnd::kUndone : WatchEnd::kNotUndone;
    post_.Tell(Sentence(undoing.undone ? kWordUndone : kWordFailed, undoing.text));
  }

  // Spends this much time on telling everybody who wants to confirm that it is too late.
  void TurnAway(std::uint32_t milliseconds) {
    const std::uint64_t until = UptimeMilliseconds() + milliseconds;
    for (;;) {
      const std::uint64_t now = UptimeMilliseconds();
      const WatchEvent event = post_.Wait(static_cast<std::uint32_t>(until - std::min(now, until)));
      if (event.kind == WatchEventKind::kRequest) post_.Answer(kWordLate);
      if (event.kind == WatchEventKind::kTimeUp && UptimeMilliseconds() >= until) return;
    }
  }

  WatchPost post_;
  const Watch watch_;
  std::uint64_t deadline_ = 0;
  bool sent_ = false;
  bool answered_ = false;
  std::optional<WatchEnd> end_;
};

}  // namespace

WatchEnd KeepWatch(const Watch& watch) {
  Result<WatchPost> post = WatchPost::Open();
  if (!post) return WatchEnd::kNoClient;
  const std::optional<std::vector<AccessEntry>> entries = WhoMayConfirm();
  if (!entries) {
    post->Tell(Sentence(kWordFailed, "Windows does not say who may confirm"));
    return WatchEnd::kNotArmed;
  }
  const std::uint32_t error = post->Begin(kConfirmPipe, *entries);
  if (error == kErrorAccessDenied) {
    post->Tell(kWordAnother);
    return WatchEnd::kNotArmed;
  }
  if (error != 0) {
    post->Tell(Sentence(kWordFailed, "Windows refuses it" + WindowsError(error)));
    return WatchEnd::kNotArmed;
  }
  return Watcher(std::move(*post), watch).Run();
}

}  // namespace veltrane
