#pragma once

// Opening the service's pipe, and making sure that the service is behind it.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "platform/pipe_client.h"

namespace veltrane {

enum class FailureKind {
  kUnreachable,  // the service cannot be reached; nothing was sent
  kBusy,         // the service is serving another client; nothing was sent
  kUntrusted,    // another program serves the pipe; nothing was sent
  kNoReply,      // no readable reply came back
};

// What went wrong and what to do next, both without a full stop.
struct ExchangeFailure {
  FailureKind kind = FailureKind::kUnreachable;
  std::string what;
  std::string next;
};

// An open pipe, or why there is none.
struct ServicePipe {
  std::optional<ClientPipe> pipe;
  ExchangeFailure failure;
};

// Called about once a second during a wait, with the seconds that have passed.
using WaitObserver = std::function<void(std::uint32_t seconds)>;

// Opens the service's pipe, waiting up to `busy_seconds` while another client is being served.
// Unless `any_server` is set, the process behind the pipe must be that of the registered service;
// the check is made on the returned connection itself, before anything is sent.
ServicePipe OpenServicePipe(bool any_server, std::uint32_t busy_seconds,
                            const WaitObserver& observer);

}  // namespace veltrane
