#include "tests/faults/run.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <system_error>

namespace veltrane::faults {
namespace {

Scene* running = nullptr;

// How an exception that nobody catches ends a process.
const char* EndingByException() {
  const std::exception_ptr exception = std::current_exception();
  if (!exception) return kTerminated;
  try {
    std::rethrow_exception(exception);
  } catch (const std::filesystem::filesystem_error&) {
    return kFilesystemError;
  } catch (const std::system_error&) {
    return kSystemError;
  } catch (...) {
    return kOtherException;
  }
}

[[noreturn]] void Play(const Story& story, const std::optional<Fault>& fault, int descriptor) {
  LimitTime();
  running = new Scene(descriptor);
  std::set_terminate([] { running->EndProcess(EndingByException()); });
  std::signal(SIGABRT, [](int) { running->EndProcess(kAborted); });
  story.arrange(*running);
  running->BeginStory(story.leads_to, fault);
  story.act(*running);
  running->EndStory();
}

std::string ReadAll(int descriptor) {
  std::string text;
  std::array<char, 65536> buffer;
  for (;;) {
    const ssize_t count = read(descriptor, buffer.data(), buffer.size());
    if (count <= 0) return text;
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

}  // namespace

Account Run(const Story& story, const std::optional<Fault>& fault) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) std::abort();
  const pid_t child = fork();
  if (child < 0) std::abort();
  if (child == 0) {
    close(ends[0]);
    Play(story, fault, ends[1]);
  }
  close(ends[1]);
  const std::string text = ReadAll(ends[0]);
  close(ends[0]);
  waitpid(child, nullptr, 0);
  return Deserialized(text);
}

void LimitTime() {
  constexpr unsigned kSeconds = 60;
  alarm(kSeconds);
}

}  // namespace veltrane::faults
