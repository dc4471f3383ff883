#pragma once

// What the user sees: standard output, standard error, and the line that shows a wait.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "client/screens/paint.h"

namespace veltrane {

// Colours only what goes to a terminal, and nothing when the environment variable NO_COLOR is set
// (https://no-color.org).
class Display {
 public:
  Display();

  bool OutputIsTerminal() const { return output_columns_.has_value(); }
  Painter OutputPainter() const { return Painter(output_columns_ && colours_wanted_); }

  void Print(std::string_view text);

  // One line on standard error: the program's name and what to do.
  void Complain(std::string_view text);

  // Says that a request has been sent whose reply may take long; for whoever reads the output of a
  // program. A terminal gets nothing yet.
  void BeginWait(std::string_view what);

  // Shows how long the wait has been, on a terminal alone, in one line that is written over.
  void ShowWait(std::string_view what, std::uint32_t seconds);

  // Takes that line away.
  void EndWait();

 private:
  bool colours_wanted_;
  std::optional<std::size_t> output_columns_;
  std::optional<std::size_t> error_columns_;
  bool wait_shown_ = false;
};

}  // namespace veltrane
