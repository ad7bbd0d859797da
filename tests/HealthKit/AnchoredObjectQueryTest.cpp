#include <gtest/gtest.h>

#include "QueryFixture.h"

namespace testing_support {
namespace {

class AnchoredObjectQueryTest : public QueryFixture {
 protected:
  static std::vector<double> counts(const Batch& batch) {
    std::vector<double> values;
    for (const auto& sample : batch.added) {
      values.push_back(
          std::static_pointer_cast<const HKQuantitySample>(sample)->quantity()->doubleValueForUnit(
              *HKUnit::countUnit()));
    }
    return values;
  }
};

TEST_F(AnchoredObjectQueryTest, AnchorsWalkSavesAndDeletesWithLimits) {
  authorize({stepType()}, {stepType()});
  auto a = quantitySample(stepType(), 1, at(0), at(1));
  auto b = quantitySample(stepType(), 2, at(1), at(2));
  auto c = quantitySample(stepType(), 3, at(2), at(3));
  ASSERT_EQ(save(store, {a, b, c}), nullptr);

  Batch first = fetch(nullptr, 2);
  EXPECT_EQ(counts(first), (std::vector<double>{1, 2}));
  Batch second = fetch(first.anchor, 2);
  EXPECT_EQ(counts(second), (std::vector<double>{3}));
  EXPECT_GT(*second.anchor, *first.anchor);
  EXPECT_TRUE(fetch(second.anchor).added.empty());

  ASSERT_EQ(remove(store, {b}), nullptr);
  ASSERT_EQ(save(store, {quantitySample(stepType(), 4, at(3), at(4))}), nullptr);
  // The deletion came first, so a limit of one returns only it.
  Batch third = fetch(second.anchor, 1);
  EXPECT_TRUE(third.added.empty());
  ASSERT_EQ(third.deleted.size(), 1u);
  EXPECT_EQ(third.deleted[0]->UUID(), b->UUID());
  Batch fourth = fetch(third.anchor);
  EXPECT_EQ(counts(fourth), (std::vector<double>{4}));
  EXPECT_TRUE(fourth.deleted.empty());

  // From the start: every live sample and the deletion.
  Batch all = fetch(nullptr);
  EXPECT_EQ(counts(all), (std::vector<double>{1, 3, 4}));
  EXPECT_EQ(all.deleted.size(), 1u);
  EXPECT_EQ(*all.anchor, *fourth.anchor);
}

TEST_F(AnchoredObjectQueryTest, RefusedReadLooksLikeNoDataButTheAnchorMovesOn) {
  device->user().setReadAllowed(stepType(), false);
  authorize({stepType()}, {stepType()});
  ASSERT_EQ(save(iPhone, {phoneSteps(500, at(0), at(10))}), nullptr);
  ASSERT_EQ(save(store, {quantitySample(stepType(), 7, at(0), at(1))}), nullptr);

  Batch batch = fetch(nullptr);
  EXPECT_EQ(batch.error, nullptr);
  EXPECT_EQ(counts(batch), (std::vector<double>{7}));  // only its own
  ASSERT_NE(batch.anchor, nullptr);
  ASSERT_EQ(save(iPhone, {phoneSteps(100, at(10), at(11))}), nullptr);
  Batch later = fetch(batch.anchor);
  EXPECT_TRUE(later.added.empty());
  EXPECT_GT(*later.anchor, *batch.anchor);

  // Without share permission either, nothing at all.
  device->setAuthorization(stepType(), std::nullopt, false);
  EXPECT_TRUE(fetch(nullptr).added.empty());
}

TEST_F(AnchoredObjectQueryTest, UpdateHandlerReportsLaterChangesUntilStopped) {
  authorize({stepType()}, {stepType()});
  ASSERT_EQ(save(store, {quantitySample(stepType(), 1, at(0), at(1))}), nullptr);
  std::vector<Batch> updates;
  Batch initial;
  auto query = std::make_shared<HKAnchoredObjectQuery>(
      stepType(), HKQuery::predicateForSamplesWithStartDate(at(0), at(60), HKQueryOptionNone),
      nullptr, HKObjectQueryNoLimit, [&](auto, auto added, auto deleted, auto anchor, auto) {
        initial = {true, added, deleted, anchor, nullptr};
      });
  query->setUpdateHandler([&](auto, auto added, auto deleted, auto anchor, auto) {
    updates.push_back({true, added, deleted, anchor, nullptr});
  });
  store->executeQuery(query);
  runUntilIdle();
  EXPECT_EQ(counts(initial), (std::vector<double>{1}));
  EXPECT_TRUE(updates.empty());

  auto inside = quantitySample(stepType(), 2, at(5), at(6));
  ASSERT_EQ(save(store, {inside, quantitySample(stepType(), 3, at(70), at(71))}), nullptr);
  ASSERT_EQ(save(store, {quantitySample(stepType(), 4, at(80), at(81))}), nullptr);  // outside
  ASSERT_EQ(remove(store, {inside}), nullptr);
  ASSERT_EQ(updates.size(), 2u);
  EXPECT_EQ(counts(updates[0]), (std::vector<double>{2}));
  EXPECT_EQ(updates[1].deleted.size(), 1u);

  EXPECT_THROW(query->setUpdateHandler(nullptr), std::invalid_argument);
  store->stopQuery(query);
  ASSERT_EQ(save(store, {quantitySample(stepType(), 5, at(7), at(8))}), nullptr);
  EXPECT_EQ(updates.size(), 2u);
  EXPECT_EQ(device->runningQueryCount(), 0u);

  auto limited = std::make_shared<HKAnchoredObjectQuery>(stepType(), nullptr, nullptr, 10, nullptr);
  EXPECT_THROW(limited->setUpdateHandler([](auto, auto, auto, auto, auto) {}),
               std::invalid_argument);
}

}  // namespace
}  // namespace testing_support
