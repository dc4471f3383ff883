#include "tests/simulation/day.h"

#include <gtest/gtest.h>

namespace veltrane::simulation {
namespace {

std::vector<std::string> StoryOf(std::uint64_t seed, std::uint64_t steps) {
  Day day(seed);
  day.Run(steps);
  return day.Told().Lines();
}

TEST(Day, TheSameSeedTellsTheSameStory) {
  const auto story = StoryOf(4, 20000);
  EXPECT_EQ(StoryOf(4, 20000), story);
}

TEST(Day, AnotherSeedTellsAnother) { EXPECT_NE(StoryOf(4, 2000), StoryOf(5, 2000)); }

TEST(Day, ALongerDayBeginsLikeAShorterOne) {
  const auto shorter = StoryOf(7, 3000);
  auto longer = StoryOf(7, 6000);
  ASSERT_GT(longer.size(), shorter.size());
  longer.resize(shorter.size());
  EXPECT_EQ(longer, shorter);
}

}  // namespace
}  // namespace veltrane::simulation
