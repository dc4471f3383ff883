#pragma once

// What the user sees: standard output, standard error, and a line that shows a wait.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "client/screens/paint.h"

namespace veltrane {

// Uses colours only on a terminal, and never when the environment variable NO_COLOR is set
// (https://no-color.org).
class Display {
 public:
  Display();
  Display(const Display&) = delete;
  Display& operator=(const Display&) = delete;
  ~Display();  // leaves the terminals as they were

  bool OutputIsTerminal() const { return output_columns_.has_value(); }
  Painter OutputPainter() const { return Painter(output_columns_ && colours_wanted_); }

  void Print(std::string_view text);

  // Writes one line to standard error, beginning with the program's name.
  void Complain(std::string_view text);

  // Announces a wait that may be long, for readers of redirected output. On a terminal ShowWait
  // does that instead.
  void BeginWait(std::string_view what);

  // On a terminal, shows how long the wait has lasted, in one line that is overwritten each time.
  void ShowWait(std::string_view what, std::uint32_t seconds);

  // Erases that line.
  void EndWait();

 private:
  bool colours_wanted_;
  std::optional<std::size_t> output_columns_;
  std::optional<std::size_t> error_columns_;
  bool wait_shown_ = false;
};

}  // namespace veltrane
