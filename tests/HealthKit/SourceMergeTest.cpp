#include <gtest/gtest.h>

#include <numeric>

#include "HealthKit/internal/SourceMerge.h"

namespace platform::healthkit {
namespace {

double total(const std::vector<TimedAmount>& pieces, double from, double to) {
  double sum = 0;
  for (const auto& piece : pieces) sum += amountWithin(piece, from, to);
  return sum;
}

struct MergeCase {
  const char* name;
  std::vector<RankedAmount> pieces;
  double expected;  // merged total over everything
};

class SourceMergeTest : public ::testing::TestWithParam<MergeCase> {};

TEST_P(SourceMergeTest, MergedTotal) {
  const MergeCase& c = GetParam();
  EXPECT_NEAR(total(mergeBySourcePriority(c.pieces), -1e9, 1e9), c.expected, 1e-9) << c.name;
}

// Rank 0 is the watch, rank 1 the phone.
INSTANTIATE_TEST_SUITE_P(
    Cases, SourceMergeTest,
    ::testing::Values(
        MergeCase{"phone alone", {{{0, 600, 600}, 1}}, 600},
        MergeCase{"same stretch: the watch wins", {{{0, 600, 500}, 0}, {{0, 600, 600}, 1}}, 500},
        // The phone's 600 steps over 10 minutes overlap the watch for the first 5: half remain.
        MergeCase{"phone fills the gap after the watch",
                  {{{0, 300, 400}, 0}, {{0, 600, 600}, 1}},
                  400 + 300},
        MergeCase{
            "priority does not depend on order", {{{0, 600, 600}, 1}, {{0, 300, 400}, 0}}, 700},
        MergeCase{"one source's own overlapping samples all count",
                  {{{0, 600, 100}, 0}, {{300, 900, 100}, 0}},
                  200},
        MergeCase{"a point covered by a better source is dropped",
                  {{{0, 600, 100}, 0}, {{300, 300, 50}, 1}},
                  100},
        MergeCase{"a point at the end of a better sample counts",
                  {{{0, 600, 100}, 0}, {{600, 600, 50}, 1}},
                  150},
        MergeCase{"a point at the start of a better sample is covered",
                  {{{0, 600, 100}, 0}, {{0, 0, 50}, 1}},
                  100},
        MergeCase{"points alone", {{{10, 10, 5}, 1}, {{10, 10, 7}, 0}}, 12},
        MergeCase{"three sources",
                  {{{0, 100, 10}, 2}, {{50, 150, 20}, 1}, {{75, 80, 1}, 0}},
                  // 0-50 from rank 2 (5), 50-75 and 80-150 from rank 1 (19), 75-80 rank 0 (1)
                  5 + 20 * 95.0 / 100 + 1}),
    [](const ::testing::TestParamInfo<MergeCase>& param) {
      std::string name = param.param.name;
      for (char& c : name) {
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
      }
      return name;
    });

TEST(SourceMerge, ProRatesAcrossIntervalBoundaries) {
  // 120 steps from 09:59 to 10:01 fall half into each hour.
  const TimedAmount piece{-60, 60, 120};
  EXPECT_DOUBLE_EQ(amountWithin(piece, -3600, 0), 60);
  EXPECT_DOUBLE_EQ(amountWithin(piece, 0, 3600), 60);
  // A point belongs to the interval that contains it, never to the one it ends.
  EXPECT_DOUBLE_EQ(amountWithin({0, 0, 9}, -3600, 0), 0);
  EXPECT_DOUBLE_EQ(amountWithin({0, 0, 9}, 0, 3600), 9);
}

}  // namespace
}  // namespace platform::healthkit
