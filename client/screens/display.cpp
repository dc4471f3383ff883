#include "client/screens/display.h"

#include <algorithm>

#include "platform/environment.h"
#include "platform/terminal.h"

namespace veltrane {
namespace {

constexpr std::size_t kLongestVariable = 32767;  // characters, as Windows allows
constexpr std::string_view kBeginningOfLine = "\r\x1b[K";

}  // namespace

Display::Display()
    : colours_wanted_(ReadProcessVariable(L"NO_COLOR", kLongestVariable).empty()),
      output_columns_(TerminalColumns(Stream::kOutput)),
      error_columns_(TerminalColumns(Stream::kError)) {}

Display::~Display() {
  EndWait();
  RestoreTerminals();
}

void Display::Print(std::string_view text) {
  EndWait();
  WriteStream(Stream::kOutput, text);
}

void Display::Complain(std::string_view text) {
  EndWait();
  const Painter paint(error_columns_ && colours_wanted_);
  WriteStream(Stream::kError, paint(Colour::kBad, "veltranectl:") + " " + std::string(text) + "\n");
}

void Display::BeginWait(std::string_view what) {
  if (!error_columns_) WriteStream(Stream::kError, std::string(what) + "\n");
}

void Display::ShowWait(std::string_view what, std::uint32_t seconds) {
  if (!error_columns_) return;
  const std::string line = std::string(what) + ", " + std::to_string(seconds) + " s";
  const std::size_t room = std::max<std::size_t>(*error_columns_, 2) - 1;
  WriteStream(Stream::kError, std::string(kBeginningOfLine) + line.substr(0, room));
  wait_shown_ = true;
}

void Display::EndWait() {
  if (!wait_shown_) return;
  WriteStream(Stream::kError, kBeginningOfLine);
  wait_shown_ = false;
}

}  // namespace veltrane
