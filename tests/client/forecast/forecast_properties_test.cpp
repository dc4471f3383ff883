// What holds for every forecast, tried on situations that are made at random from fixed seeds.

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "client/forecast/forecast.h"
#include "client/forecast/plan.h"
#include "tests/client/forecast/random_situation.h"
#include "tests/client/forecast/withheld_pieces.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

constexpr unsigned kFewBlanks = 4;

std::vector<ForecastVerdict> Verdicts(const Situation& situation) {
  std::vector<ForecastVerdict> verdicts;
  for (const Outlook& outlook : MakeForecast(situation)) verdicts.push_back(outlook.verdict);
  return verdicts;
}

// A forecast before something is changed, and what to report when the change does what it must not.
class Before {
 public:
  Before(std::uint64_t seed, const Situation& situation)
      : seed_(seed), situation_(situation), verdicts_(Verdicts(situation)) {}

  // Expects that nobody's verdict becomes `bright` who had a worse one.
  void ExpectNobodyBecomes(ForecastVerdict bright, const std::vector<ForecastVerdict>& after,
                           const std::string& change) const {
    ASSERT_EQ(after.size(), verdicts_.size());
    for (std::size_t i = 0; i < after.size(); ++i) {
      EXPECT_FALSE(verdicts_[i] < bright && after[i] == bright) << Report(i, after[i], change);
    }
  }

  void ExpectNobodyBetter(const std::vector<ForecastVerdict>& after,
                          const std::string& change) const {
    ASSERT_EQ(after.size(), verdicts_.size());
    for (std::size_t i = 0; i < after.size(); ++i) {
      EXPECT_LE(after[i], verdicts_[i]) << Report(i, after[i], change);
    }
  }

  void ExpectSame(const std::vector<ForecastVerdict>& after, const std::string& change) const {
    ASSERT_EQ(after.size(), verdicts_.size());
    for (std::size_t i = 0; i < after.size(); ++i) {
      EXPECT_EQ(after[i], verdicts_[i]) << Report(i, after[i], change);
    }
  }

 private:
  std::string Report(std::size_t subject, ForecastVerdict after, const std::string& change) const {
    return "seed " + std::to_string(seed_) + ", " + change + ": " + Describe(verdicts_[subject]) +
           " becomes " + Describe(after) + " for " + Describe(situation_.subjects[subject]) + "\n" +
           Describe(situation_);
  }

  std::uint64_t seed_;
  const Situation& situation_;
  std::vector<ForecastVerdict> verdicts_;
};

// Whether it is known if the service can create host routes. When it is not, a list that names
// somebody is worse than one that is not known, which names somebody who can be pinned.
bool KnowsMetricOfGateway(const Situation& situation) {
  return !situation.gateway ||
         FactsOf(situation, situation.gateway->interface_index).ipv4_metric.has_value();
}

// Expects that with less information nobody stays, and that no connect is refused, for whom the
// verdict was worse.
void ExpectNoBetterWithLess(const Before& before, const Situation& full, const Situation& less,
                            const std::string& withheld) {
  const std::vector<ForecastVerdict> verdicts = Verdicts(less);
  before.ExpectNobodyBecomes(ForecastVerdict::kStays, verdicts, "without " + withheld);
  if (!KnowsMetricOfGateway(full)) return;
  before.ExpectNobodyBecomes(ForecastVerdict::kRefused, verdicts, "without " + withheld);
}

class ForecastProperties : public OnMachine {};

TEST_F(ForecastProperties, WithholdingAnyPieceOfInformationNeverMakesAnotherVerdictStay) {
  for (std::uint64_t seed = 1; seed <= 350; ++seed) {
    const RandomCase full = RandomCases(seed, kFewBlanks).Next();
    const Before before(seed, full.situation);
    for (const Piece& piece : PiecesOf(full)) {
      RandomCase less = full;
      piece.withhold(less);
      ExpectNoBetterWithLess(before, full.situation, less.situation, piece.name);
    }
  }
}

TEST_F(ForecastProperties, WithholdingTwoPiecesNeverMakesAnotherVerdictStay) {
  for (std::uint64_t seed = 1001; seed <= 2000; ++seed) {
    RandomCases cases(seed, kFewBlanks);
    const RandomCase full = cases.Next();
    const Before before(seed, full.situation);
    const std::vector<Piece> pieces = PiecesOf(full);
    for (int i = 0; i < 3; ++i) {
      RandomCase less = full;
      const Piece& first = pieces[cases.Below(pieces.size())];
      const Piece& second = pieces[cases.Below(pieces.size())];
      first.withhold(less);
      second.withhold(less);
      ExpectNoBetterWithLess(before, full.situation, less.situation,
                             first.name + " and " + second.name);
    }
  }
}

// Under the guard a catch-all brings the whole list down to the client's own network. That is the
// only network by which less can be taken.
TEST_F(ForecastProperties, AddingANetworkNeverMakesAnotherVerdictStay) {
  static const std::vector<std::string> kNetworks = {
      "10.66.66.0/24", "0.0.0.0/1",    "128.0.0.0/1",   "0.0.0.0/0", "1.2.3.4/0",
      "::/0",          "203.0.113.5",  "10.20.0.0/16",  "::/1",      "2001:db8::/32",
      "fe80::/10",     "100.64.0.0/8", "192.168.0.0/16"};
  for (std::uint64_t seed = 2001; seed <= 2600; ++seed) {
    const Situation situation = RandomCases(seed, kFewBlanks).Next().situation;
    if (!situation.allowed_ips) continue;
    const Before before(seed, situation);
    const bool guarded = std::all_of(situation.worlds.begin(), situation.worlds.end(),
                                     [](const World& world) { return world.guard; });
    for (const std::string& network : kNetworks) {
      if (guarded && (network == "0.0.0.0/0" || network == "::/0")) continue;
      Situation more = situation;
      *more.allowed_ips += ", " + network;
      before.ExpectNobodyBecomes(ForecastVerdict::kStays, Verdicts(more), "with " + network);
    }
  }
}

TEST_F(ForecastProperties, AddingAWorldNeverImprovesAVerdict) {
  for (std::uint64_t seed = 3001; seed <= 4000; ++seed) {
    RandomCases cases(seed, kFewBlanks);
    const Situation situation = cases.Next().situation;
    Situation more = situation;
    const std::vector<World> others = ListWorlds(cases.NextSettings());
    more.worlds.push_back(others[cases.Below(others.size())]);
    Before(seed, situation).ExpectNobodyBetter(Verdicts(more), "with another world");
  }
}

// Whatever the value of a setting turns out to be, it must have been one of the possible ones.
TEST_F(ForecastProperties, NotKnowingASettingNeverImprovesAVerdict) {
  for (std::uint64_t seed = 4001; seed <= 5000; ++seed) {
    const RandomCase known = RandomCases(seed, kFewBlanks).Next();
    const Before before(seed, known.situation);
    for (std::size_t i = 0; i < kSettingNames.size(); ++i) {
      RandomCase unknown = known;
      unknown.settings.values[i].reset();
      unknown.situation.worlds = ListWorlds(unknown.settings);
      const std::string withheld = std::string("without ") + kSettingNames[i];
      const std::vector<ForecastVerdict> verdicts = Verdicts(unknown.situation);
      before.ExpectNobodyBecomes(ForecastVerdict::kStays, verdicts, withheld);
      if (KnowsMetricOfGateway(known.situation)) before.ExpectNobodyBetter(verdicts, withheld);
    }
  }
}

TEST_F(ForecastProperties, TheOrderOfWhatIsKnownDoesNotMatter) {
  for (std::uint64_t seed = 5001; seed <= 6000; ++seed) {
    const Situation situation = RandomCases(seed, kFewBlanks).Next().situation;
    Situation shuffled = situation;
    std::mt19937_64 random(seed);
    const auto shuffle = [&random](auto& items) {
      std::shuffle(items.begin(), items.end(), random);
    };
    if (shuffled.ipv4_routes) shuffle(*shuffled.ipv4_routes);
    if (shuffled.ipv6_routes) shuffle(*shuffled.ipv6_routes);
    if (shuffled.own_addresses) shuffle(*shuffled.own_addresses);
    if (shuffled.rdp_peers) shuffle(*shuffled.rdp_peers);
    shuffle(shuffled.interfaces);
    shuffle(shuffled.session_clients);
    shuffle(shuffled.worlds);
    Before(seed, situation).ExpectSame(Verdicts(shuffled), "shuffled");
  }
}

TEST_F(ForecastProperties, EachSubjectIsAnsweredAsIfItWereAlone) {
  for (std::uint64_t seed = 6001; seed <= 7000; ++seed) {
    const Situation situation = RandomCases(seed, kFewBlanks).Next().situation;
    std::vector<ForecastVerdict> alone;
    for (const Subject& subject : situation.subjects) {
      Situation lonely = situation;
      lonely.subjects = {subject};
      alone.push_back(Verdicts(lonely).front());
    }
    Before(seed, situation).ExpectSame(alone, "alone");
  }
}

}  // namespace
}  // namespace veltrane
