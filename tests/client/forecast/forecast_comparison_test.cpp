// The forecast against a second one, which is made by brute force.

#include <map>
#include <string>

#include <gtest/gtest.h>

#include "client/forecast/forecast.h"
#include "tests/client/forecast/naive_forecast.h"
#include "tests/client/forecast/random_situation.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

class ForecastComparison : public OnMachine {
 protected:
  // Compares the forecasts of as many situations, of which so much is not known.
  void Compare(std::uint64_t situations, unsigned blank_percent) {
    for (std::uint64_t seed = 1; seed <= situations; ++seed) {
      const Situation situation = RandomCases(seed, blank_percent).Next().situation;
      const std::vector<Outlook> outlooks = MakeForecast(situation);
      ASSERT_EQ(outlooks.size(), situation.subjects.size());
      for (const Outlook& outlook : outlooks) Compare(seed, situation, outlook);
    }
    RecordProperty("too_dark", too_dark);
  }

  std::map<ForecastVerdict, int> verdicts;
  int compared = 0;
  int too_dark = 0;

  // The first verdicts that were too dark.
  std::string darkest;

 private:
  void Compare(std::uint64_t seed, const Situation& situation, const Outlook& outlook) {
    const NaiveRange naive = NaiveVerdict(situation, outlook.subject);
    const ForecastVerdict verdict = outlook.verdict;
    ++compared;
    ++verdicts[verdict];
    if (naive.darkest <= verdict && verdict <= naive.brightest) return;
    const std::string report = ", seed " + std::to_string(seed) + ", for " +
                               Describe(outlook.subject) + "\n" + Describe(situation);
    EXPECT_LE(verdict, naive.brightest)
        << "too bright: " << Describe(verdict) << ", not " << Describe(naive.brightest) << report;
    if (verdict > naive.brightest || ++too_dark > 5) return;
    darkest +=
        "too dark: " + Describe(verdict) + ", not " + Describe(naive.darkest) + report + "\n";
  }
};

TEST_F(ForecastComparison, AgreesWhenEverythingIsKnown) {
  Compare(3200, 0);
  EXPECT_EQ(too_dark, 0) << darkest;
  EXPECT_EQ(verdicts.size(), 7U);
  for (const auto& [verdict, count] : verdicts) {
    EXPECT_GT(count, 50) << Describe(verdict) << " is hardly tried";
  }
}

// The forecast does not go through every machine that is possible, and may be somewhat too dark.
TEST_F(ForecastComparison, IsNeverTooBrightAndSeldomTooDarkWhenALittleIsNotKnown) {
  Compare(1450, 3);
  EXPECT_LT(too_dark * 100, compared) << darkest;
}

TEST_F(ForecastComparison, IsNeverTooBrightAndSeldomTooDarkWhenMuchIsNotKnown) {
  Compare(150, 12);
  EXPECT_LT(too_dark * 20, compared) << darkest;
}

}  // namespace
}  // namespace veltrane
