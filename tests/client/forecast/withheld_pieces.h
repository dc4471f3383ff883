#pragma once

// A situation with less in it.

#include <functional>
#include <string>
#include <vector>

#include "tests/client/forecast/random_situation.h"

namespace veltrane {

// One piece of information, and how to take it away.
struct Piece {
  std::string name;
  std::function<void(RandomCase&)> withhold;
};

// Every piece of information that a case has. The pieces can be withheld together, in any order.
std::vector<Piece> PiecesOf(const RandomCase& full);

}  // namespace veltrane
