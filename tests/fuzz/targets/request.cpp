// The machine's surroundings and a series of requests: HandleRequest over a simulated machine. An
// empty request lets time pass instead.

#include "tests/fuzz/input.h"
#include "tests/fuzz/story.h"

namespace veltrane {
namespace {

constexpr int kMostRequests = 8;

Surroundings SurroundingsOf(Input& input) {
  Surroundings surroundings;
  const std::uint8_t flags = input.Byte();
  surroundings.administrator = (flags & 1) != 0;
  surroundings.guard = (flags & 2) != 0;
  surroundings.guard_overridden = (flags & 4) != 0;
  surroundings.remote_session = (flags & 8) != 0;
  surroundings.auto_stop = (flags & 16) != 0;
  surroundings.remote_desktop = (flags & 32) != 0;
  surroundings.other_tunnel = (flags & 64) != 0;
  surroundings.replaced_tunnel = (flags & 128) != 0;
  surroundings.failing_call = input.Byte();
  surroundings.admin_addresses = input.Text();
  surroundings.adapter_alias = input.Text();
  return surroundings;
}

}  // namespace
}  // namespace veltrane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace veltrane;
  Input input(data, size);
  Story story(SurroundingsOf(input));
  for (int sent = 0; sent < kMostRequests && !input.IsAtEnd(); ++sent) {
    const std::string request = input.Text();
    if (request.empty()) {
      story.LetTimePass();
    } else if (!story.Send(request)) {
      break;
    }
  }
  return 0;
}
