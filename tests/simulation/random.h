#pragma once

#include <cstddef>
#include <cstdint>

namespace veltrane::simulation {

// The dice of a day: the same seed throws the same numbers on every machine.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  // SplitMix64 (Steele, Lea, Flood: "Fast splittable pseudorandom number generators", 2014).
  std::uint64_t Next() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return z ^ (z >> 31);
  }

  std::uint32_t Below(std::size_t bound) { return static_cast<std::uint32_t>(Next() % bound); }

  // True once in `times` on average; never for 0.
  bool OneIn(std::uint32_t times) { return times != 0 && Below(times) == 0; }

  template <typename List>
  const auto& Pick(const List& list) {
    return *(list.begin() + Below(list.size()));
  }

 private:
  std::uint64_t state_;
};

}  // namespace veltrane::simulation
