#pragma once

#include "client/exchange/reply.h"
#include "tests/fuzz/input.h"

namespace veltrane {

// A reply whose values an input chose, whatever they are.
struct ReplyValues {
  bool ok = false;
  std::string phase_or_error;
  std::string node_id_or_message;
  AdminBypassState bypass;  // its arrays hold the lists below
  std::vector<std::string> admin_tokens;
  std::vector<SelectedAddress> selected;
  std::vector<HostRouteResult> routes;
  RouteGuardResult guard;
};

ReplyValues TakeReplyValues(Input& input);

// The reply as the service would write it.
std::string WrittenReply(const ReplyValues& values);

}  // namespace veltrane
