#pragma once

// One request and its reply over the service's pipe.

#include <optional>
#include <string>

#include "client/exchange/service_pipe.h"
#include "client/text/secret_text.h"

namespace veltrane {

struct ExchangeResult {
  std::optional<std::string> reply;  // byte for byte
  ExchangeFailure failure;
};

// Sends the request over a freshly opened pipe and reads the reply, which must end within 120 s and
// 1048576 bytes, however its bytes come. The observer is called with 0 once the request has been
// sent.
ExchangeResult Exchange(ClientPipe& pipe, const SecretText& request, const WaitObserver& observer);

}  // namespace veltrane
