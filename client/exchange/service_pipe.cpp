#include "client/exchange/service_pipe.h"

#include <algorithm>
#include <utility>

#include "client/text/windows_error.h"
#include "ipc/pipe_name.h"
#include "platform/clock.h"
#include "platform/service_codes.h"
#include "platform/service_facts.h"
#include "service/service_name.h"

namespace veltrane {
namespace {

constexpr std::int64_t kTicksPerMillisecond = kTicksPerSecond / 1000;
constexpr int kGapRetries = 20;
constexpr std::uint32_t kGapMilliseconds = 50;
constexpr std::uint32_t kRoundMilliseconds = 1000;

ExchangeFailure Unreachable(std::string what, std::string next) {
  return {FailureKind::kUnreachable, std::move(what), std::move(next)};
}

// Explains why there is no pipe.
ExchangeFailure NoPipe(bool any_server) {
  if (any_server) {
    return Unreachable("no program serves the pipe", ".\\VeltraneVpnService.exe --console");
  }
  const Result<ServiceFacts> facts = ReadServiceFacts(kServiceName);
  if (facts.Error() == kErrorServiceDoesNotExist) {
    return Unreachable("the service is not installed", ".\\VeltraneVpnService.exe --install");
  }
  if (!facts) {
    return Unreachable("the service's state cannot be read" + WindowsError(facts.Error()),
                       "sc.exe query VeltraneVpnTunnel");
  }
  if (facts->state != kServiceRunning) {
    return Unreachable("the service is not running", "sc.exe start VeltraneVpnTunnel");
  }
  return Unreachable("the service is running but its pipe does not exist",
                     "sc.exe stop VeltraneVpnTunnel, then sc.exe start VeltraneVpnTunnel");
}

ExchangeFailure CannotOpen(std::uint32_t error, bool any_server, std::uint32_t busy_seconds) {
  switch (error) {
    case kErrorNoSuchPipe:
      return NoPipe(any_server);
    case kErrorPipeBusy:
      return {FailureKind::kBusy,
              "the service has been busy with another client for " + std::to_string(busy_seconds) +
                  " s",
              "try again when it has finished"};
    case kErrorAccessDenied:
      return Unreachable("the service's pipe denies access to this user",
                         "use an elevated prompt, or restart the service while this user is logged "
                         "on at the console");
    default:
      return Unreachable("the service's pipe cannot be opened" + WindowsError(error),
                         "veltranectl doctor");
  }
}

// The service recreates its pipe for each client, so for a moment there is none. That is worth
// waiting for only while something is running that could create it.
bool PipeMayComeBack(bool any_server) {
  if (any_server) return true;
  const Result<ServiceFacts> facts = ReadServiceFacts(kServiceName);
  return facts && facts->state == kServiceRunning;
}

Result<ClientPipe> OpenPatiently(bool any_server, std::uint32_t busy_seconds,
                                 const WaitObserver& observer) {
  const std::int64_t deadline = UtcTicks() + busy_seconds * kTicksPerSecond;
  std::uint32_t rounds = 0;
  int gaps = 0;
  for (;;) {
    Result<ClientPipe> opening = ClientPipe::Open(kPipeName);
    if (opening.Error() == kErrorPipeBusy) {
      gaps = 0;
      const std::int64_t left = (deadline - UtcTicks()) / kTicksPerMillisecond;
      // Counting the rounds bounds the wait even if the clock is set back.
      if (left <= 0 || rounds == busy_seconds) return opening;
      const std::int64_t wait = std::min<std::int64_t>(left, kRoundMilliseconds);
      if (WaitForFreePipe(kPipeName, static_cast<std::uint32_t>(wait)) == kErrorWaitTimedOut) {
        observer(++rounds);
      }
    } else if (opening.Error() == kErrorNoSuchPipe && gaps < kGapRetries &&
               PipeMayComeBack(any_server)) {
      ++gaps;
      SleepMilliseconds(kGapMilliseconds);
    } else {
      return opening;
    }
  }
}

// Explains why the pipe's server is not the registered service; nullopt when it is.
std::optional<ExchangeFailure> FindImpostor(const ClientPipe& pipe) {
  const std::optional<std::uint32_t> server = pipe.ServerProcessId();
  const Result<ServiceFacts> facts = ReadServiceFacts(kServiceName);
  if (server && facts && facts->process_id != 0 && *server == facts->process_id) {
    return std::nullopt;
  }
  std::string what = server ? "the pipe is served by process " + std::to_string(*server) + ", but "
                            : "Windows does not say which process serves the pipe, and ";
  if (facts.Error() == kErrorServiceDoesNotExist) {
    what += "the service is not installed";
  } else if (!facts) {
    what += "the service's state cannot be read" + WindowsError(facts.Error());
  } else if (facts->process_id == 0) {
    what += "the service is not running";
  } else {
    what += "the service is process " + std::to_string(facts->process_id);
  }
  return ExchangeFailure{
      FailureKind::kUntrusted, std::move(what),
      "nothing was sent; if that is the service in console mode, add --any-server"};
}

}  // namespace

ServicePipe OpenServicePipe(bool any_server, std::uint32_t busy_seconds,
                            const WaitObserver& observer) {
  Result<ClientPipe> opening = OpenPatiently(any_server, busy_seconds, observer);
  if (!opening) {
    return {std::nullopt, CannotOpen(opening.Error(), any_server, busy_seconds)};
  }
  if (!any_server) {
    std::optional<ExchangeFailure> impostor = FindImpostor(*opening);
    if (impostor) return {std::nullopt, std::move(*impostor)};
  }
  return {std::move(*opening), {}};
}

}  // namespace veltrane
