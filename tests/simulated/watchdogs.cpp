#include "tests/simulated/watchdogs.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/console_input.h"
#include "platform/file_input.h"
#include "platform/watchdog.h"
#include "tests/simulated/client_side.h"

namespace veltrane {
namespace simulated {
namespace {

constexpr std::chrono::milliseconds kRealStep(1);

// The connection of the watchdog that this thread is.
thread_local std::shared_ptr<Watchdogs::Link> link_of_thread;

}  // namespace

Watchdogs::Watchdogs() : link_(std::make_shared<Link>()) {}

void Watchdogs::Join() {
  for (std::thread& thread : threads_) thread.join();
  threads_.clear();
}

void Watchdogs::WatchdogSays(const std::string& line) { Tell(*link_, line); }
void Watchdogs::WatchdogEnds() { End(*link_, &Link::watchdog_ended); }
void Watchdogs::ClientSays(const std::string& line) { Say(*link_, line); }
void Watchdogs::ClientEnds() { End(*link_, &Link::client_ended); }
void Watchdogs::MustEnd() { End(*link_, &Link::must_end); }
void Watchdogs::Run(Program program) { program_ = std::move(program); }

std::shared_ptr<Watchdogs::Link> Watchdogs::Start(const std::vector<std::string>& arguments) {
  started.push_back(arguments);
  if (program_) {
    link_ = std::make_shared<Link>();
    threads_.emplace_back([this, arguments, link = link_] {
      link_of_thread = link;
      program_(arguments);
      End(*link, &Link::watchdog_ended);
    });
  }
  for (const std::string& line : first_words) WatchdogSays(line);
  return link_;
}

void Watchdogs::Say(Link& link, const std::string& line) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    heard.push_back(line);
    link.to_watchdog.push_back(line);
  }
  if (!answers.contains(line)) return;
  for (const std::string& answer : answers[line]) Tell(link, answer);
}

void Watchdogs::Tell(Link& link, const std::string& line) {
  const std::lock_guard<std::mutex> lock(mutex_);
  told.push_back(line);
  link.to_client.push_back(line);
}

std::shared_ptr<Watchdogs::Link> Watchdogs::LinkOfThisProcess() {
  return link_of_thread != nullptr ? link_of_thread : link_;
}

void Watchdogs::End(Link& link, bool Link::*end) {
  const std::lock_guard<std::mutex> lock(mutex_);
  link.*end = true;
}

bool Watchdogs::Await(const std::function<bool()>& ready, std::uint32_t milliseconds) {
  Clock& clock = Machine::Current().clock;
  if (!program_) return clock.PassUntil(ready, milliseconds);
  for (std::uint32_t passed = 0; !ready(); ++passed) {
    if (passed >= milliseconds) return false;
    std::this_thread::sleep_for(kRealStep);
    clock.Advance(1);
  }
  return true;
}

namespace {

using Link = Watchdogs::Link;
using Post = Watchdogs::Post;

Watchdogs& TheWatchdogs() { return ClientSide::Current().watchdogs; }

struct Started {
  std::shared_ptr<Link> link;
  bool left_job;
};

Started& AsStarted(const Owner<void, CloseWatchdog>& watchdog) {
  return *static_cast<Started*>(watchdog.get());
}

Post& AsPost(const Owner<void, CloseWatchPost>& post) { return *static_cast<Post*>(post.get()); }

// Makes way for the next program.
void EndRequest(Post& post) {
  Pipes& pipes = Machine::Current().pipes;
  pipes.Disconnect(*post.requests);
  pipes.Listen(*post.requests);
  post.request = Post::Request::kNone;
  post.received.clear();
  post.limit.reset();
}

// The next whole request.
std::optional<std::string> TakeRequest(Post& post) {
  if (post.requests == nullptr || post.request == Post::Request::kAwaitsAnswer) return std::nullopt;
  Machine& machine = Machine::Current();
  const Pipes::Presence client = machine.pipes.ClientOf(*post.requests);
  if (client == Pipes::Presence::kNobody) return std::nullopt;
  if (!post.limit) post.limit = machine.clock.Uptime() + kRequestMilliseconds;
  while (const std::optional<std::string> message = machine.pipes.TakeMessage(*post.requests)) {
    post.received += *message;
  }
  const std::size_t end = post.received.find('\n');
  if (post.request == Post::Request::kNone && end != std::string::npos) {
    post.request = Post::Request::kAwaitsAnswer;
    return post.received.substr(0, end);
  }
  if (client == Pipes::Presence::kGone || machine.clock.Uptime() >= *post.limit) EndRequest(post);
  return std::nullopt;
}

std::optional<WatchEvent> TakeEvent(Post& post) {
  Watchdogs& watchdogs = TheWatchdogs();
  const std::lock_guard<std::mutex> lock(watchdogs.mutex());
  Link& link = *post.link;
  if (!link.to_watchdog.empty()) {
    WatchEvent event{WatchEventKind::kLine, std::move(link.to_watchdog.front())};
    link.to_watchdog.pop_front();
    return event;
  }
  if (link.client_ended && !std::exchange(link.client_end_reported, true)) {
    return WatchEvent{WatchEventKind::kClientEnded};
  }
  if (std::optional<std::string> request = TakeRequest(post)) {
    return WatchEvent{WatchEventKind::kRequest, std::move(*request)};
  }
  if (std::exchange(link.must_end, false)) return WatchEvent{WatchEventKind::kMustEnd};
  return std::nullopt;
}

}  // namespace
}  // namespace simulated

using simulated::AsPost;
using simulated::AsStarted;
using simulated::ClientSide;
using simulated::Machine;
using simulated::Watchdogs;

Result<Watchdog> Watchdog::Start(const std::vector<std::string>& arguments) {
  Watchdogs& watchdogs = simulated::TheWatchdogs();
  if (watchdogs.start_error != 0) return Result<Watchdog>::Failure(watchdogs.start_error);
  return Watchdog(new simulated::Started{watchdogs.Start(arguments), watchdogs.leaves_job});
}

void CloseWatchdog(void* watchdog) noexcept {
  auto* started = static_cast<simulated::Started*>(watchdog);
  simulated::TheWatchdogs().End(*started->link, &Watchdogs::Link::client_ended);
  delete started;
}

bool Watchdog::HasLeftJob() const { return AsStarted(watchdog_).left_job; }

bool Watchdog::Say(std::string_view line) {
  Watchdogs& watchdogs = simulated::TheWatchdogs();
  Watchdogs::Link& link = *AsStarted(watchdog_).link;
  {
    const std::lock_guard<std::mutex> lock(watchdogs.mutex());
    if (link.watchdog_ended) return false;
  }
  watchdogs.Say(link, std::string(line));
  return true;
}

Watchdog::Progress Watchdog::Hear(std::uint32_t milliseconds, std::string& line) {
  Watchdogs& watchdogs = simulated::TheWatchdogs();
  Watchdogs::Link& link = *AsStarted(watchdog_).link;
  Progress progress = Progress::kNothing;
  watchdogs.Await(
      [&] {
        const std::lock_guard<std::mutex> lock(watchdogs.mutex());
        if (!link.to_client.empty()) {
          line = std::move(link.to_client.front());
          link.to_client.pop_front();
          progress = Progress::kLine;
        } else if (link.watchdog_ended) {
          progress = Progress::kEnded;
        }
        return progress != Progress::kNothing;
      },
      milliseconds);
  return progress;
}

Result<WatchPost> WatchPost::Open() {
  Watchdogs& watchdogs = simulated::TheWatchdogs();
  if (!watchdogs.has_client) return Result<WatchPost>::Failure(kErrorBadFileType);
  return WatchPost(new Watchdogs::Post{watchdogs.LinkOfThisProcess()});
}

std::uint32_t WatchPost::Begin(const std::wstring& pipe, const std::vector<AccessEntry>& entries) {
  Watchdogs& watchdogs = simulated::TheWatchdogs();
  if (watchdogs.begin_error != 0) return watchdogs.begin_error;
  Machine& machine = Machine::Current();
  if (machine.pipes.IsServed(pipe)) return kErrorAccessDenied;
  const SecurityAttributesOwner attributes = MakeSecurityAttributes(entries);
  AsPost(post_).requests = machine.pipes.Create(
      {.name = pipe, .open_mode = kPipeAccessDuplex, .max_instances = 1}, attributes.get());
  return 0;
}

void CloseWatchPost(void* memory) noexcept {
  auto* post = static_cast<Watchdogs::Post*>(memory);
  if (post->requests != nullptr) Machine::Current().pipes.Close(post->requests);
  delete post;
}

WatchEvent WatchPost::Wait(std::uint32_t milliseconds) {
  WatchEvent event;
  simulated::TheWatchdogs().Await(
      [this, &event] {
        std::optional<WatchEvent> taken = simulated::TakeEvent(AsPost(post_));
        if (taken) event = std::move(*taken);
        return taken.has_value();
      },
      milliseconds);
  return event;
}

void WatchPost::Tell(std::string_view line) {
  simulated::TheWatchdogs().Tell(*AsPost(post_).link, std::string(line));
}

void WatchPost::Answer(std::string_view line) {
  Watchdogs::Post& post = AsPost(post_);
  Machine::Current().pipes.Write(*post.requests, std::string(line) + "\n");
  post.request = Watchdogs::Post::Request::kAnswered;
  post.limit = Machine::Current().clock.Uptime() + kRequestMilliseconds;
}

bool IsConsoleInteractive() { return ClientSide::Current().console_is_interactive; }

void DiscardTypedInput() { ClientSide::Current().DiscardTyped(); }

std::optional<std::string> TypedLine::Read(std::uint32_t milliseconds) {
  ClientSide& side = ClientSide::Current();
  std::optional<std::string> line;
  side.watchdogs.Await(
      [&] {
        while (!line && side.HasTyped()) {
          const char key = side.TakeTyped();
          if (key == '\r') {
            line = simulated::Narrow(std::exchange(typed_, {}));
            WriteStream(Stream::kOutput, "\r\n");
          } else if (key != '\b') {
            typed_ += static_cast<wchar_t>(static_cast<unsigned char>(key));
            WriteStream(Stream::kOutput, std::string(1, key));
          } else if (!typed_.empty()) {
            typed_.pop_back();
            WriteStream(Stream::kOutput, "\b \b");
          }
        }
        return line.has_value();
      },
      milliseconds);
  return line;
}

}  // namespace veltrane
