#include "forwarding/interest_list.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <vector>

#include "forwarding/connection.h"
#include "forwarding/routes.h"

namespace {

class InterestLists : public testing::Test {
 protected:
  Interest &add() { return interests_.add(reader_, route_); }

  std::vector<const Interest *> sweep() {
    std::vector<const Interest *> swept;
    while (!interests_.isSwept())
      swept.push_back(&interests_.sweepNext());
    return swept;
  }

  Connection reader_{7, Descriptor(), Peer()};
  Route route_;
  InterestList interests_;
};

using Swept = std::vector<const Interest *>;

TEST_F(InterestLists, SweepVisitsEachOnceInTheOrderOfRegistration) {
  const Interest &a = add();
  const Interest &b = add();
  const Interest &c = add();
  EXPECT_TRUE(interests_.isSwept());
  for (int i = 0; i < 2; ++i) {
    interests_.beginSweep();
    EXPECT_EQ(sweep(), (Swept{&a, &b, &c}));
  }
}

TEST_F(InterestLists, SweepOfNoneIsDone) {
  interests_.beginSweep();
  EXPECT_TRUE(interests_.isSwept());
  Interest &only = add();
  interests_.beginSweep();
  interests_.remove(only);
  EXPECT_TRUE(interests_.isSwept());
}

TEST_F(InterestLists, OneThatComesDuringASweepTakesNoOthersTurn) {
  const Interest &a = add();
  const Interest &b = add();
  const Interest &c = add();
  interests_.beginSweep();
  EXPECT_EQ(&interests_.sweepNext(), &a);
  add();
  EXPECT_EQ(sweep(), (Swept{&b, &c}));
}

TEST_F(InterestLists, OneThatGoesDuringASweepTakesNoOthersTurn) {
  Interest &a = add();
  Interest &b = add();
  const Interest &c = add();
  interests_.beginSweep();
  EXPECT_EQ(&interests_.sweepNext(), &a);
  interests_.remove(a);
  interests_.remove(b);
  const Swept rest = sweep();
  EXPECT_NE(std::find(rest.begin(), rest.end(), &c), rest.end());
}

TEST_F(InterestLists, SweepThatBeginsAgainGoesOnWhereItStands) {
  const Interest &a = add();
  const Interest &b = add();
  const Interest &c = add();
  interests_.beginSweep();
  EXPECT_EQ(&interests_.sweepNext(), &a);
  interests_.beginSweep();
  EXPECT_EQ(sweep(), (Swept{&b, &c, &a}));
}

// Sweeps begin again and again, interests come and go, and whoever was there all the time is visited in time.
TEST_F(InterestLists, NoneIsLeftOutWhileOthersComeAndGo) {
  std::mt19937 random(2);
  std::vector<Interest *> passing;
  for (int round = 0; round < 300; ++round) {
    std::set<const Interest *> unvisited;
    std::vector<Interest *> staying;
    for (int i = 0; i < 5; ++i)
      staying.push_back(&add());
    unvisited.insert(staying.begin(), staying.end());
    interests_.beginSweep();
    while (!interests_.isSwept()) {
      switch (random() % 4) {
        case 0:
          passing.push_back(&add());
          break;
        case 1:
          if (passing.empty()) break;
          std::swap(passing[random() % passing.size()], passing.back());
          interests_.remove(*passing.back());
          passing.pop_back();
          break;
        default:
          unvisited.erase(&interests_.sweepNext());
      }
    }
    ASSERT_TRUE(unvisited.empty()) << "round " << round;
    passing.insert(passing.end(), staying.begin(), staying.end());
  }
}

// Or the next sweep would seem to be under way already.
TEST_F(InterestLists, SweepEndsWhenAllThatItHadToTellIsRemoved) {
  std::vector<Interest *> added;
  for (int i = 0; i < 3; ++i)
    added.push_back(&add());
  interests_.beginSweep();
  for (Interest *interest : added)
    interests_.remove(*interest);
  EXPECT_TRUE(interests_.isSwept());
  const Interest *later = &add();
  EXPECT_TRUE(interests_.isSwept());
  interests_.beginSweep();
  EXPECT_EQ(sweep(), std::vector<const Interest *>{later});
}

}  // namespace
