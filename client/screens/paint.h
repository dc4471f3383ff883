#pragma once

// Building blocks of the screens.

#include <string>
#include <string_view>
#include <vector>

namespace veltrane {

enum class Colour { kGood, kWarning, kBad, kHeading };

// Colours text with ECMA-48 escape sequences, or leaves it alone when not `colourful`.
class Painter {
 public:
  explicit Painter(bool colourful) : colourful_(colourful) {}

  std::string operator()(Colour colour, std::string_view text) const;

 private:
  bool colourful_;
};

// One line of a screen: two spaces, the label padded to `width` columns, the text.
std::string Row(std::string_view label, std::string_view text, std::size_t width = 16);

// One such line per text, with the label on the first only.
std::string Rows(std::string_view label, const std::vector<std::string>& texts,
                 std::size_t width = 16);

// The text padded with spaces to a number of columns, counted in code points.
std::string Padded(std::string_view text, std::size_t columns);

}  // namespace veltrane
