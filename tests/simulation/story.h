#pragma once

// What happened on a day, line by line: the same seed tells the same story.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace veltrane::simulation {

class Story {
 public:
  void Tell(const std::string& who, const std::string& what) {
    lines_.push_back(who + ": " + what);
    for (const char c : lines_.back() + "\n") Add(static_cast<unsigned char>(c));
  }

  const std::vector<std::string>& Lines() const { return lines_; }

  // A number for the whole story (FNV-1a, 64 bits).
  std::uint64_t Number() const { return number_; }

 private:
  void Add(unsigned char byte) { number_ = (number_ ^ byte) * 0x100000001B3; }

  std::vector<std::string> lines_;
  std::uint64_t number_ = 0xCBF29CE484222325;
};

}  // namespace veltrane::simulation
