// A reply, as any text or as the service would write it: what veltranectl shows of it.

#include "client/screens/screens.h"

#include <cctype>

#include "client/screens/advice.h"
#include "tests/fuzz/profile_rules.h"
#include "tests/fuzz/reply_values.h"
#include "tests/fuzz/require.h"

namespace veltrane {
namespace {

// The text without the sequences that set a colour, each of which lasts until the next one resets
// it, on the same line.
std::string WithoutColours(const std::string& text) {
  std::string plain;
  bool coloured = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\x1b') {
      Require(!coloured || text[i] != '\n', "a colour ends on its line");
      plain += text[i];
      continue;
    }
    const std::size_t end = text.find('m', i);
    Require(end != std::string::npos, "a sequence ends");
    Require((text.substr(i, end - i) == "\x1b[0") == coloured, "a colour is reset once");
    coloured = !coloured;
    i = end;
  }
  Require(!coloured, "a colour ends");
  return plain;
}

// The runs of 40 and more base64 digits that end in "=", as keys do.
std::vector<std::string> KeysIn(const std::string& text) {
  std::vector<std::string> keys;
  std::string run;
  for (const char c : text + " ") {
    if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '+' || c == '/') {
      run += c;
      continue;
    }
    if (run.size() >= 40 && c == '=') keys.push_back(run + c);
    run.clear();
  }
  return keys;
}

void CheckScreen(const std::string& screen, const std::string& reply) {
  Require(screen.ends_with('\n'), "a screen ends with a line");
  std::size_t begin = 0;
  for (std::size_t end = screen.find('\n'); end != std::string::npos;
       begin = end + 1, end = screen.find('\n', begin)) {
    Require(IsPrintable(screen.substr(begin, end - begin)), "a line can be printed: " + screen);
  }
  for (const std::string& key : KeysIn(reply)) {
    Require(screen.find(key) == std::string::npos, "no key is shown: " + screen);
  }
}

void Check(const std::string& text) {
  const auto reply = ReadReply(text);
  if (!reply) return;
  const std::string screen = ReplyScreen(*reply, Painter(false));
  CheckScreen(screen, text);
  RequireEqual(WithoutColours(ReplyScreen(*reply, Painter(true))), screen,
               "colours change nothing else");
  const std::string advice = AdviceFor(*reply);
  Require(!advice.empty() && !advice.ends_with('.') && IsPrintable(advice), "an advice is given");
}

}  // namespace
}  // namespace veltrane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace veltrane;
  Input input(data, size);
  const bool any_text = (input.Byte() & 1) != 0;
  Check(any_text ? std::string(input.Rest()) : WrittenReply(TakeReplyValues(input)));
  return 0;
}
