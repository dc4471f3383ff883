// The watchdog's own side of platform/watchdog.h.

#include <windows.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>

#include "platform/watchdog.h"
#include "platform/windows/line_reader.h"
#include "platform/windows/request_pipe.h"
#include "platform/windows/session_end.h"

namespace veltrane {
namespace {

struct Post {
  SessionEnd session;
  bool session_end_taken = false;
  RequestPipe requests;
  LineReader client;

  bool WatchesSession() const { return !session_end_taken && session.Event() != nullptr; }
};

Post& AsPost(const Owner<void, CloseWatchPost>& post) { return *static_cast<Post*>(post.get()); }

bool IsPipe(DWORD stream) { return GetFileType(GetStdHandle(stream)) == FILE_TYPE_PIPE; }

std::optional<WatchEvent> TakeEvent(Post& post) {
  WatchEvent event;
  switch (post.client.Take(event.line)) {
    case LineReader::Taken::kLine:
      event.kind = WatchEventKind::kLine;
      return event;
    case LineReader::Taken::kEnd:
      event.kind = WatchEventKind::kClientEnded;
      return event;
    case LineReader::Taken::kNothing:
      break;
  }
  if (std::optional<std::string> request = post.requests.Advance()) {
    return WatchEvent{WatchEventKind::kRequest, std::move(*request)};
  }
  if (post.WatchesSession() && WaitForSingleObject(post.session.Event(), 0) == WAIT_OBJECT_0) {
    post.session_end_taken = true;
    return WatchEvent{WatchEventKind::kMustEnd};
  }
  return std::nullopt;
}

void WaitForChange(const Post& post, DWORD milliseconds) {
  std::array<HANDLE, 3> events{};
  DWORD count = 0;
  events[count++] = post.client.Event();
  if (post.WatchesSession()) events[count++] = post.session.Event();
  if (post.requests.Event() != nullptr) events[count++] = post.requests.Event();
  WaitForMultipleObjects(count, events.data(), FALSE,
                         std::min(milliseconds, post.requests.Remaining()));
}

}  // namespace

Result<WatchPost> WatchPost::Open() {
  if (!IsPipe(STD_INPUT_HANDLE) || !IsPipe(STD_OUTPUT_HANDLE)) {
    return Result<WatchPost>::Failure(ERROR_BAD_FILE_TYPE);
  }
  auto post = std::make_unique<Post>();
  const DWORD error = post->client.Begin(GetStdHandle(STD_INPUT_HANDLE));
  if (error != ERROR_SUCCESS) return Result<WatchPost>::Failure(error);
  return WatchPost(post.release());
}

void CloseWatchPost(void* post) noexcept { delete static_cast<Post*>(post); }

std::uint32_t WatchPost::Begin(const std::wstring& pipe, const std::vector<AccessEntry>& entries) {
  Post& post = AsPost(post_);
  const DWORD error = post.requests.Create(pipe, entries);
  return error != ERROR_SUCCESS ? error : post.session.Begin();
}

WatchEvent WatchPost::Wait(std::uint32_t milliseconds) {
  Post& post = AsPost(post_);
  const ULONGLONG until = GetTickCount64() + milliseconds;
  for (;;) {
    if (std::optional<WatchEvent> event = TakeEvent(post)) return std::move(*event);
    const ULONGLONG now = GetTickCount64();
    if (now >= until) return {};
    WaitForChange(post, static_cast<DWORD>(until - now));
  }
}

void WatchPost::Tell(std::string_view line) {
  const std::string bytes = std::string(line) + "\n";
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), bytes.data(), static_cast<DWORD>(bytes.size()),
            &written, nullptr);
}

void WatchPost::Answer(std::string_view line) { AsPost(post_).requests.Answer(line); }

}  // namespace veltrane
