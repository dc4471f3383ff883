#include "tests/simulation/baton.h"

#include <gtest/gtest.h>

namespace veltrane::simulation {
namespace {

using Texts = std::vector<std::string>;

class BatonTest : public testing::Test {
 protected:
  // Gives the baton away until no thread can go on.
  void RunAll() {
    while (baton.Turn()) {
    }
  }

  std::int64_t now = 0;
  Random random{1};
  Baton baton{random, [this] { return now; }};
  Texts told;
};

TEST_F(BatonTest, AThreadRunsFromYieldToYield) {
  baton.Start(Role::kMain, "main", [this] {
    told.push_back("one");
    baton.Yield();
    told.push_back("two");
  });
  EXPECT_TRUE(told.empty());
  EXPECT_TRUE(baton.Turn());
  EXPECT_EQ(told, Texts{"one"});
  EXPECT_TRUE(baton.Turn());
  EXPECT_EQ(told, (Texts{"one", "two"}));
  EXPECT_EQ(baton.Count(), 0U);
  EXPECT_FALSE(baton.Turn());
}

TEST_F(BatonTest, AWaitingThreadGoesOnWhenItMay) {
  bool may = false;
  baton.Start(Role::kMain, "main", [&] {
    baton.WaitUntil([&may] { return may; });
    told.push_back("went on");
  });
  RunAll();
  EXPECT_TRUE(told.empty());
  may = true;
  RunAll();
  EXPECT_EQ(told, Texts{"went on"});
}

TEST_F(BatonTest, ASleepingThreadGoesOnWhenItsTimeHasCome) {
  baton.Start(Role::kMain, "main", [this] {
    baton.SleepUntil(100);
    told.push_back("awake");
  });
  RunAll();
  EXPECT_EQ(baton.NextDeadline(), 100);
  now = 99;
  EXPECT_FALSE(baton.Turn());
  now = 100;
  EXPECT_TRUE(baton.Turn());
  EXPECT_EQ(told, Texts{"awake"});
}

TEST_F(BatonTest, AllThreadsThatCanGoOnGetTheirTurns) {
  for (const char* name : {"a", "b"}) {
    baton.Start(Role::kActor, name, [this, name] {
      for (int i = 0; i < 20; ++i) {
        told.emplace_back(name);
        baton.Yield();
      }
    });
  }
  RunAll();
  EXPECT_EQ(std::count(told.begin(), told.end(), "a"), 20);
  EXPECT_EQ(std::count(told.begin(), told.end(), "b"), 20);
  EXPECT_NE(std::find(told.begin(), told.begin() + 20, "b"), told.begin() + 20);
}

TEST_F(BatonTest, TheThreadsOfTheProgramAreLeftWhereTheyAre) {
  baton.Start(Role::kPipe, "pipe", [this] {
    baton.Yield();
    told.push_back("never");
  });
  baton.Start(Role::kActor, "client", [this] {
    baton.Yield();
    told.push_back("client");
  });
  baton.Turn();
  baton.Turn();
  baton.AbandonProgram();
  RunAll();
  EXPECT_EQ(told, Texts{"client"});
}

TEST_F(BatonTest, AThreadHandlesItsOwnExceptions) {
  baton.Start(Role::kActor, "a", [this] {
    try {
      throw 1;
    } catch (int) {
      EXPECT_EQ(std::uncaught_exceptions(), 0);
      baton.Yield();
      try {
        throw;
      } catch (int number) {
        told.push_back(std::to_string(number));
      }
    }
  });
  baton.Start(Role::kActor, "b", [this] {
    try {
      throw 2;
    } catch (int number) {
      baton.Yield();
      told.push_back(std::to_string(number));
    }
  });
  RunAll();
  std::sort(told.begin(), told.end());
  EXPECT_EQ(told, (Texts{"1", "2"}));
}

}  // namespace
}  // namespace veltrane::simulation
