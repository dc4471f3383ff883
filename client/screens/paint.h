#pragma once

// What the screens are written with.

#include <string>
#include <string_view>
#include <vector>

namespace veltrane {

enum class Colour { kGood, kWarning, kBad, kHeading };

// Colours text with the escape sequences of ECMA-48 when it is told to, and leaves it alone
// otherwise.
class Painter {
 public:
  explicit Painter(bool colourful) : colourful_(colourful) {}

  std::string operator()(Colour colour, std::string_view text) const;

 private:
  bool colourful_;
};

// One line of a screen: two blanks, the label filled up to `width` columns, the text.
std::string Row(std::string_view label, std::string_view text, std::size_t width = 16);

// One such line a text, the label before the first alone.
std::string Rows(std::string_view label, const std::vector<std::string>& texts,
                 std::size_t width = 16);

// The text filled up with blanks to a number of columns. Counts code points.
std::string Padded(std::string_view text, std::size_t columns);

}  // namespace veltrane
