#pragma once

// One request and its reply over the service's pipe.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "client/exit_codes.h"
#include "client/text/secret_text.h"
#include "platform/pipe_client.h"

namespace veltrane {

// What happened instead, and what to do next; neither ends in a full stop.
struct ExchangeFailure {
  ExitCode exit_code = kExitDone;
  std::string what;
  std::string next;
  bool busy = false;  // the service is there and another client has it
};

// A connection to the service, or why there is none.
struct Dialling {
  std::optional<ClientPipe> pipe;
  ExchangeFailure failure;
};

inline constexpr std::uint32_t kBusySeconds = 30;

// Called about once a second during a wait, with the seconds that have passed.
using WaitObserver = std::function<void(std::uint32_t seconds)>;

// Opens the service's pipe. A busy one is waited for, but not longer than this. Unless `any_server`
// is set, the process behind the pipe must be that of the registered service; what is checked is
// this very connection, over which nothing has been sent.
Dialling DialService(bool any_server, std::uint32_t busy_seconds, const WaitObserver& observer);

struct ExchangeResult {
  std::optional<std::string> reply;  // byte for byte
  ExchangeFailure failure;
};

// Sends the request over a fresh connection and takes the reply, for which it waits 120 s at most.
// The observer is called with 0 when the request has been sent.
ExchangeResult ExchangeOver(ClientPipe& pipe, const SecretText& request,
                            const WaitObserver& observer);

}  // namespace veltrane
