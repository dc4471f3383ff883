// A key and a request: the field reader against the naive one.

#include "ipc/message_codec.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/naive_codec.h"
#include "tests/fuzz/require.h"

namespace veltrane {
namespace {

// Any value at all survives being sent as a client should send it, behind other members.
void ComesBackAsSent(const std::string& value) {
  std::string escaped;
  for (const char c : value) {
    if (c == '"' || c == '\\') escaped += '\\';
    escaped += c;
  }
  const std::string request = R"({ "first" : 1, "k" : ")" + escaped + R"(", "last" : "x" })";
  RequireEqual(ReadStringField(request, "k"), value, "a value comes back as it was sent");
}

}  // namespace
}  // namespace veltrane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace veltrane;
  Input input(data, size);
  const std::string key = input.Text();
  const std::string request(input.Rest());
  RequireEqual(ReadStringField(BareText(request).View(), key), naive::Field(request, key),
               "the readers agree");
  RequireEqual(ReadOp(request), naive::Field(request, "op"), "the readers agree on op");
  ComesBackAsSent(request);
  return 0;
}
