#pragma once

// One request and its reply over the service's pipe.

#include <cstdint>
#include <optional>
#include <string>

#include "client/exchange/service_pipe.h"
#include "client/text/secret_text.h"

namespace veltrane {

struct ExchangeResult {
  std::optional<std::string> reply;  // byte for byte
  ExchangeFailure failure;
};

// How long a reply may take.
inline constexpr std::uint32_t kReplySeconds = 120;

// Sends the request over a freshly opened pipe and reads the reply, which must end within
// `reply_seconds` and 1048576 bytes, however its bytes come. The observer is called with 0 once the
// request has been sent.
ExchangeResult Exchange(ClientPipe& pipe, const SecretText& request, const WaitObserver& observer,
                        std::uint32_t reply_seconds = kReplySeconds);

}  // namespace veltrane
