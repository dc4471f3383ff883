#pragma once

#include <atomic>
#include <string>

#include <gtest/gtest.h>

#include "ipc/dispatcher.h"

namespace veltrane {

// Has the service answer a request. Notes both texts in GoogleTest's account of the running test,
// where tests/docs finds them and compares the reply with its schema.
inline std::string HandleNoted(IpcServer& server, const std::string& request) {
  static std::atomic<int> count = 0;
  const std::string reply = HandleRequest(server, request);
  const std::string number = std::to_string(++count);
  testing::Test::RecordProperty("request_" + number, request);
  testing::Test::RecordProperty("reply_" + number, reply);
  return reply;
}

}  // namespace veltrane
