// platform/terminal.h

#include "platform/terminal.h"

#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

using Terminal = Contract;

TEST_F(Terminal, StreamsTakeBytesAsTheyAre) {
  const std::string bytes("\xC3\xA9\n\r\n\0.", 7);
  const Printed printed = stage.Capture([&] {
    WriteStream(Stream::kOutput, bytes);
    WriteStream(Stream::kError, "error");
    WriteStream(Stream::kOutput, "more");
  });
  EXPECT_EQ(printed.output, bytes + "more");
  EXPECT_EQ(printed.error, "error");
}

TEST_F(Terminal, IsNotBehindAStreamThatIsAFile) {
  std::optional<std::size_t> of_output = 1, of_error = 1;
  stage.Capture([&] {
    of_output = TerminalColumns(Stream::kOutput);
    of_error = TerminalColumns(Stream::kError);
  });
  EXPECT_EQ(of_output, std::nullopt);
  EXPECT_EQ(of_error, std::nullopt);
}

GUEST(UseTerminal) {
  const std::optional<std::size_t> output = TerminalColumns(Stream::kOutput);
  const std::optional<std::size_t> error = TerminalColumns(Stream::kError);
  WriteStream(Stream::kOutput, "\xC3\xA9\xE2\x82\xAC ");
  WriteStream(Stream::kOutput, "");
  WriteStream(Stream::kError, "error");
  Tell(output ? std::to_string(*output) : "none");
  Tell(error ? std::to_string(*error) : "none");
}

TEST_F(Terminal, HasColumns) {
  EXPECT_EQ(stage.RunInTerminal(97, UseTerminal).told, (std::vector<std::string>{"97", "97"}));
}

TEST_F(Terminal, ShowsUtf8) {
  EXPECT_EQ(stage.RunInTerminal(97, UseTerminal).screen, "\xC3\xA9\xE2\x82\xAC error");
}

TEST_F(Terminal, UnderstandsEscapeSequencesFromTheFirstQuestionOn) {
  NOT_SIMULATED("a screen is a text");
  EXPECT_TRUE(stage.RunInTerminal(97, UseTerminal).takes_escape_sequences);
}

}  // namespace
}  // namespace veltrane::contract
