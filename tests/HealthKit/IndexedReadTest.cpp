// The database's date index against a plain walk over every object: for random data and random
// predicates, a read bounded by the predicate's dates returns exactly what the unbounded read
// returns (same objects, same order, same anchors), and the statistics computed from it agree.
// Every object read is the one saved, value for value, whether the database kept it as numbers
// (plain samples, some with a device or metadata) or whole (correlations and their samples).

#include <gtest/gtest.h>

#include <random>

#include "Foundation/NSCompoundPredicate.h"
#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKCorrelation.h"
#include "HealthKit/HKMetadata.h"
#include "HealthKit/HKQuantitySample.h"
#include "HealthKit/HKQuery.h"
#include "HealthKit/internal/HealthDatabase.h"
#include "HealthKit/internal/IntervalGrid.h"
#include "HealthKit/internal/StatisticsCalculator.h"

namespace platform::healthkit {
namespace {

constexpr double kDay = 86400;
const std::vector<DateBounds> kEverything{DateBounds{}};

auto steps() { return HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierStepCount); }
auto pulse() { return HKObjectType::quantityTypeForIdentifier(HKQuantityTypeIdentifierHeartRate); }
auto sleep() {
  return HKObjectType::categoryTypeForIdentifier(HKCategoryTypeIdentifierSleepAnalysis);
}

NSDate at(double seconds) { return NSDate::dateWithTimeIntervalSinceReferenceDate(seconds); }

class IndexedReadTest : public ::testing::Test {
 protected:
  // A few weeks of steps (minutes long), sleep (hours long, a few days long), heart rates (in
  // start order, as the database reads them without its index), blood pressure correlations,
  // from three apps, on a five-minute grid so that many samples share dates; then
  // some deletions, of correlations, of a correlation's member alone and of plain samples.
  void SetUp() override {
    std::vector<std::shared_ptr<const HKObject>> saved;
    for (int i = 0; i < 1500; ++i) {
      const double start = 5 * 60 * static_cast<double>(next(12 * 24 * 20));
      std::shared_ptr<const HKObject> object;
      switch (next(5)) {
        case 0:
        case 1:
          object = HKQuantitySample::quantitySampleWithType(
              steps(), HKQuantity::quantityWithUnit(HKUnit::countUnit(), 1 + next(300)), at(start),
              at(start + 60 * static_cast<double>(next(11))), someDevice(), someMetadata(i));
          break;
        case 2: {
          const double hours = next(10) == 0 ? 24.0 * (1 + next(4)) : 1 + next(9);
          object = HKCategorySample::categorySampleWithType(sleep(), static_cast<long>(next(6)),
                                                            at(start), at(start + hours * 3600),
                                                            someDevice(), someMetadata(i));
          break;
        }
        case 3:  // saved in start order, as a watch records them
          pulseClock += 5 * 60 * static_cast<double>(next(39));
          object = HKQuantitySample::quantitySampleWithType(
              pulse(), HKQuantity::quantityWithUnit(HKUnit::unitFromString("count/min"), 60),
              at(pulseClock), at(pulseClock + 60 * static_cast<double>(next(2))), someDevice(),
              someMetadata(i));
          break;
        default:
          object = bloodPressure(start);
      }
      saved.push_back(object);
      for (const auto& one : withMembers(object)) originals[one->UUID()] = one;
      ASSERT_FALSE(database.insert({object}, owners[next(3)]).failure);
    }
    for (int i = 0; i < 250; ++i) {
      auto doomed = saved[next(saved.size())];
      if (auto correlation = std::dynamic_pointer_cast<const HKCorrelation>(doomed);
          correlation && next(3) == 0) {
        doomed = correlation->objects().front();
      }
      for (const auto& owner : owners) (void)database.remove({doomed}, owner);
    }
  }

  std::shared_ptr<const HKObject> bloodPressure(double start) {
    auto pressure = [&](const std::string& type, double value) -> std::shared_ptr<const HKSample> {
      return HKQuantitySample::quantitySampleWithType(
          HKObjectType::quantityTypeForIdentifier(type),
          HKQuantity::quantityWithUnit(HKUnit::millimeterOfMercuryUnit(), value), at(start),
          at(start));
    };
    return HKCorrelation::correlationWithType(
        HKObjectType::correlationTypeForIdentifier(HKCorrelationTypeIdentifierBloodPressure),
        at(start), at(start),
        {pressure(HKQuantityTypeIdentifierBloodPressureSystolic, 100 + next(50)),
         pressure(HKQuantityTypeIdentifierBloodPressureDiastolic, 60 + next(30))});
  }

  // Most samples have neither; a few share one of two devices or a motion context, a few have
  // metadata of their own.
  HKDevice::Pointer someDevice() { return devices[next(4) % 3]; }
  HKMetadata someMetadata(int i) {
    switch (next(8)) {
      case 0:
        return NSDictionary::dictionaryWithDictionary({{HKMetadataKeyHeartRateMotionContext, 1}});
      case 1:
        return NSDictionary::dictionaryWithDictionary(
            {{HKMetadataKeySyncIdentifier, std::to_string(i)}, {HKMetadataKeySyncVersion, i}});
      default:
        return nullptr;
    }
  }
  static std::vector<std::shared_ptr<const HKObject>> withMembers(
      const std::shared_ptr<const HKObject>& object) {
    std::vector<std::shared_ptr<const HKObject>> all{object};
    if (auto correlation = std::dynamic_pointer_cast<const HKCorrelation>(object)) {
      all.insert(all.end(), correlation->objects().begin(), correlation->objects().end());
    }
    return all;
  }

  // The object read is the one saved: same class, dates, value, device, source and metadata.
  void expectAsSaved(const HKObject& read) {
    const auto& saved = *originals.at(read.UUID());
    const std::string what = read.UUID().UUIDString();
    EXPECT_EQ(read.className(), saved.className()) << what;
    EXPECT_EQ(read.device(), saved.device()) << what;
    EXPECT_EQ(read.sourceRevision(), saved.sourceRevision()) << what;
    EXPECT_EQ(!read.metadata(), !saved.metadata()) << what;
    if (read.metadata() && saved.metadata()) {
      EXPECT_TRUE(read.metadata()->isEqual(*saved.metadata())) << what;
    }
    const auto& sample = dynamic_cast<const HKSample&>(read);
    EXPECT_EQ(sample.startDate(), dynamic_cast<const HKSample&>(saved).startDate()) << what;
    EXPECT_EQ(sample.endDate(), dynamic_cast<const HKSample&>(saved).endDate()) << what;
    for (const char* key : {"quantity", "value", "correlation"}) {
      if (key == std::string("value") && !dynamic_cast<const HKCategorySample*>(&read)) continue;
      if (key == std::string("quantity") && !dynamic_cast<const HKQuantitySample*>(&read)) continue;
      EXPECT_EQ(read.valueForKey(key).description(), saved.valueForKey(key).description())
          << what << " " << key;
    }
  }

  std::size_t next(std::size_t below) { return random() % below; }
  double someDate() { return 5 * 60 * static_cast<double>(next(12 * 24 * 22)) - kDay; }
  std::optional<NSDate> maybeDate() {
    if (next(6) == 0) return std::nullopt;
    return at(someDate());
  }

  // Every way a query bounds dates: HealthKit's date predicate with each option, an OR of such
  // windows (a workout's active intervals), a format, and ANDs with other conditions.
  std::shared_ptr<const NSPredicate> somePredicate() {
    auto window = [&] {
      return HKQuery::predicateForSamplesWithStartDate(maybeDate(), maybeDate(),
                                                       static_cast<HKQueryOptions>(next(4)));
    };
    switch (next(6)) {
      case 0:
        return NSCompoundPredicate::orPredicateWithSubpredicates({window(), window(), window()});
      case 1:
        return NSPredicate::predicateWithFormat("%K >= %@ AND %K <= %@",
                                                {HKPredicateKeyPathEndDate, at(someDate()),
                                                 HKPredicateKeyPathStartDate, at(someDate())});
      case 2:
        return NSCompoundPredicate::andPredicateWithSubpredicates(
            {window(), HKQuery::predicateForObjectsFromSource(
                           HKSource::sourceWithName("B", owners[next(3)]))});
      case 3:
        return NSCompoundPredicate::notPredicateWithSubpredicate(window());
      default:
        return window();
    }
  }

  // Evaluates the predicate and hides one app's objects, as a refused permission does.
  Filter filterFor(std::shared_ptr<const NSPredicate> predicate) {
    return [hidden = owners[next(4) % 3], predicate](const HKObject& object,
                                                     const std::string& owner) {
      return owner != hidden && predicate->evaluateWithObject(object);
    };
  }

  static std::vector<std::uint64_t> anchorsOf(const std::vector<StoredObject>& objects) {
    std::vector<std::uint64_t> anchors;
    for (const auto& stored : objects) anchors.push_back(stored.anchor);
    return anchors;
  }

  std::mt19937 random{20260417};
  const std::vector<std::string> owners{"com.a", "com.b", "com.c"};
  const std::vector<HKDevice::Pointer> devices{
      nullptr,
      HKDevice::deviceWithName("Watch", "Apple Inc.", "Watch", "Watch6,2", std::nullopt, "10.0",
                               std::nullopt, std::nullopt),
      HKDevice::deviceWithName("Band", "Maker", "B1", std::nullopt, std::nullopt, "2.1",
                               std::nullopt, std::nullopt)};
  double pulseClock = 0;
  std::map<NSUUID, std::shared_ptr<const HKObject>> originals;  // every saved object and member
  HealthDatabase database;
};

TEST_F(IndexedReadTest, SampleReadsMatchAFullWalk) {
  for (int round = 0; round < 300; ++round) {
    const auto predicate = somePredicate();
    const Filter filter = filterFor(predicate);
    for (const std::string& type :
         {HKQuantityTypeIdentifierStepCount, HKCategoryTypeIdentifierSleepAnalysis,
          HKQuantityTypeIdentifierHeartRate, HKQuantityTypeIdentifierBloodPressureSystolic,
          HKCorrelationTypeIdentifierBloodPressure}) {
      const auto bounded = database.objects(type, dateBoundsOf(predicate), filter);
      EXPECT_EQ(anchorsOf(bounded), anchorsOf(database.objects(type, kEverything, filter)))
          << type << " where " << predicate->predicateFormat();
      if (round % 10 == 0) {
        for (const auto& stored : bounded) expectAsSaved(*stored.object);
      }
    }
  }
}

TEST_F(IndexedReadTest, AnchoredReadsMatchAFullWalk) {
  auto deletedAnchors = [](const HealthDatabase::Changes& changes) {
    std::vector<std::uint64_t> anchors;
    for (const auto& deletion : changes.deleted) anchors.push_back(deletion.anchor);
    return anchors;
  };
  for (int round = 0; round < 300; ++round) {
    const auto predicate = somePredicate();
    const Filter filter = filterFor(predicate);
    const std::uint64_t anchor = next(3) == 0 ? 0 : next(2200);
    const std::size_t limit = next(3) == 0 ? 0 : 1 + next(40);
    for (const std::string& type :
         {HKQuantityTypeIdentifierStepCount, HKCategoryTypeIdentifierSleepAnalysis,
          HKQuantityTypeIdentifierHeartRate, HKQuantityTypeIdentifierBloodPressureDiastolic}) {
      const auto bounded =
          database.changesSince(type, anchor, limit, dateBoundsOf(predicate), filter);
      const auto walked = database.changesSince(type, anchor, limit, kEverything, filter);
      const std::string context = type + " from " + std::to_string(anchor) + " limit " +
                                  std::to_string(limit) + " where " + predicate->predicateFormat();
      EXPECT_EQ(anchorsOf(bounded.added), anchorsOf(walked.added)) << context;
      EXPECT_EQ(deletedAnchors(bounded), deletedAnchors(walked)) << context;
      for (const auto& deletion : bounded.deleted) {
        expectAsSaved(*deletion.former);
        EXPECT_EQ(deletion.deleted->UUID(), deletion.former->UUID()) << context;
        EXPECT_EQ(!deletion.deleted->metadata(), !deletion.former->metadata()) << context;
      }
      EXPECT_EQ(bounded.newAnchor, walked.newAnchor) << context;
    }
  }
}

TEST_F(IndexedReadTest, StatisticsOverRandomGridsMatchAFullWalk) {
  auto calendar = NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian);
  const std::vector<NSCalendarUnit> units{NSCalendarUnitMinute, NSCalendarUnitHour,
                                          NSCalendarUnitDay, NSCalendarUnitWeekOfYear};
  const std::map<std::string, int> ranks{{owners[2], 0}, {owners[0], 1}};
  for (int round = 0; round < 60; ++round) {
    NSDateComponents every;
    const NSCalendarUnit unit = units[next(units.size())];
    every.setValue(static_cast<long>(1 + next(unit == NSCalendarUnitMinute ? 90 : 3)), unit);
    const IntervalGrid grid(at(someDate()), every, calendar);
    const double from = someDate();
    const auto predicate = HKQuery::predicateForSamplesWithStartDate(
        grid.startOfInterval(grid.indexContaining(at(from))),
        at(from + kDay * static_cast<double>(1 + next(5))), HKQueryOptionNone);
    const Filter filter = filterFor(predicate);
    const auto options = HKStatisticsOptionCumulativeSum | HKStatisticsOptionSeparateBySource;
    const auto bounded = computeStatistics(
        steps(), options, grid,
        database.objects(steps()->identifier(), dateBoundsOf(predicate), filter), ranks);
    const auto walked =
        computeStatistics(steps(), options, grid,
                          database.objects(steps()->identifier(), kEverything, filter), ranks);
    ASSERT_EQ(bounded.size(), walked.size()) << predicate->predicateFormat();
    for (const auto& [index, statistics] : walked) {
      EXPECT_EQ(bounded.at(index)->sumQuantity()->doubleValueForUnit(*HKUnit::countUnit()),
                statistics->sumQuantity()->doubleValueForUnit(*HKUnit::countUnit()))
          << "interval " << index << " where " << predicate->predicateFormat();
    }
  }
}

struct BoundsCase {
  const char* name;
  std::shared_ptr<const NSPredicate> predicate;
  bool bounded;
};

class DateBoundsTest : public ::testing::TestWithParam<BoundsCase> {};

// A bound found is what spares the walk; a bound where there is none would lose samples.
TEST_P(DateBoundsTest, BoundsOnlyWhatTheDatesDecide) {
  const auto ranges = dateBoundsOf(GetParam().predicate);
  EXPECT_EQ(!(ranges.size() == 1 && ranges.front().unbounded()), GetParam().bounded);
}

INSTANTIATE_TEST_SUITE_P(
    Predicates, DateBoundsTest,
    ::testing::Values(
        BoundsCase{"window",
                   HKQuery::predicateForSamplesWithStartDate(at(0), at(kDay), HKQueryOptionNone),
                   true},
        BoundsCase{"open_end",
                   HKQuery::predicateForSamplesWithStartDate(at(0), std::nullopt,
                                                             HKQueryOptionStrictEndDate),
                   true},
        BoundsCase{"format", NSPredicate::predicateWithFormat("%K >= %@", {"endDate", at(0)}),
                   true},
        BoundsCase{"not", NSPredicate::predicateWithFormat("NOT endDate >= %@", {at(0)}), false},
        BoundsCase{"or_with_unbounded",
                   NSPredicate::predicateWithFormat("endDate >= %@ OR count > 1", {at(0)}), false},
        BoundsCase{"other_key", HKQuery::predicateForObjectsWithNoCorrelation(), false},
        BoundsCase{"none", nullptr, false}),
    [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace platform::healthkit
