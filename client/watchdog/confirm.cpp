#include "client/watchdog/confirm.h"

#include <cstdint>
#include <string>

#include "client/watchdog/words.h"
#include "platform/pipe_client.h"
#include "platform/result.h"

namespace veltrane {
namespace {

constexpr int kRounds = 15;
constexpr std::uint32_t kRoundMilliseconds = 1000;

// Waits while the watchdog talks to another program, which it does not do for long.
Result<ClientPipe> OpenConfirmPipe() {
  Result<ClientPipe> pipe = ClientPipe::Open(kConfirmPipe);
  for (int round = 0; round < kRounds && pipe.Error() == kErrorPipeBusy; ++round) {
    WaitForFreePipe(kConfirmPipe, kRoundMilliseconds);
    pipe = ClientPipe::Open(kConfirmPipe);
  }
  return pipe;
}

// The first line of the answer, without its line feed; empty without one.
std::string Ask(ClientPipe& pipe) {
  if (!pipe.Send(std::string(kWordConfirm) + "\n")) return {};
  std::string answer;
  for (int round = 0; round < kRounds; ++round) {
    const bool ended = pipe.Receive(kRoundMilliseconds, answer) == ClientPipe::Progress::kEnded;
    const std::size_t end = answer.find('\n');
    if (end != std::string::npos) return answer.substr(0, end);
    if (ended) break;
  }
  return {};
}

}  // namespace

ConfirmEnd Confirm() {
  Result<ClientPipe> pipe = OpenConfirmPipe();
  if (pipe.Error() == kErrorNoSuchPipe) return ConfirmEnd::kNobody;
  if (pipe.Error() == kErrorAccessDenied) return ConfirmEnd::kDenied;
  if (!pipe) return ConfirmEnd::kNoReply;
  const std::string answer = Ask(*pipe);
  if (answer == kWordConfirmed) return ConfirmEnd::kConfirmed;
  if (answer == kWordEarly) return ConfirmEnd::kEarly;
  if (answer == kWordLate) return ConfirmEnd::kLate;
  return ConfirmEnd::kNoReply;
}

}  // namespace veltrane
