// The real exports the reader must load: each fixture reads with the counts its notes give
// (counted independently of this reader), and reading twice gives the same UUIDs.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <vector>

#include "AppleHealthExport/AppleHealthExportReader.h"
#include "HealthKit/HKSampleQuery.h"
#include "support/HealthKitFixture.h"

namespace {

using testing_support::HealthKitFixture;

std::filesystem::path fixturesDirectory() {
  if (const char* overridden = std::getenv("OST_FIXTURES_DIR")) return overridden;
  return OST_FIXTURES_DIR;
}

class ExportFixturesTest : public HealthKitFixture {
 protected:
  // The summary of reading the fixture at `relative`, or nullopt (and the test skipped).
  std::optional<AppleHealthExportSummary> readFixture(
      const std::string& relative,
      std::shared_ptr<platform::SimulatedHealthDevice> into = nullptr) {
    const auto path = fixturesDirectory() / "apple-health" / relative;
    if (!std::filesystem::exists(path)) return std::nullopt;
    AppleHealthExportReader reader;
    auto summary = reader.read(path.string(), into ? into : device);
    EXPECT_TRUE(summary.succeeded()) << summary.error->description();
    return summary;
  }

  // Every sample of the summary's types that the export saved on `from`.
  std::vector<std::shared_ptr<const HKSample>> savedSamples(
      const std::shared_ptr<platform::SimulatedHealthDevice>& from,
      const AppleHealthExportSummary& summary) {
    std::vector<std::shared_ptr<const HKSample>> found;
    auto reader = std::make_shared<HKHealthStore>(from, from->hostAppRevision());
    for (const auto& [type, count] : summary.samplesByType) {
      std::shared_ptr<const HKSampleType> sampleType =
          HKObjectType::quantityTypeForIdentifier(type);
      if (!sampleType) sampleType = HKObjectType::categoryTypeForIdentifier(type);
      from->setAuthorization(sampleType, true, std::nullopt);
      reader->executeQuery(std::make_shared<HKSampleQuery>(
          sampleType, nullptr, HKObjectQueryNoLimit,
          std::vector<std::shared_ptr<const NSSortDescriptor>>{}, [&](auto, auto results, auto) {
            found.insert(found.end(), results.begin(), results.end());
          }));
      runUntilIdle();
    }
    return found;
  }
};

#define READ_OR_SKIP(name, relative)                                                           \
  auto name = readFixture(relative);                                                           \
  if (!name) {                                                                                 \
    GTEST_SKIP() << "fixture not found: " << (fixturesDirectory() / "apple-health" / relative) \
                 << " (set OST_FIXTURES_DIR to the fixtures folder)";                          \
  }

TEST_F(ExportFixturesTest, IPhoneAndWatchOf2020ReadWithTheirTypesSourcesAndWorkouts) {
  READ_OR_SKIP(summary, "ipyhealth-2020/apple_health_export/export.xml");
  EXPECT_EQ(summary->totalSamples(), 1862u);
  EXPECT_EQ(summary->samplesByType.size(), 11u);
  EXPECT_EQ(summary->samplesByType["HKQuantityTypeIdentifierActiveEnergyBurned"], 736u);
  EXPECT_EQ(summary->samplesByType["HKQuantityTypeIdentifierHeartRate"], 350u);
  EXPECT_EQ(summary->samplesByType["HKCategoryTypeIdentifierAppleStandHour"], 6u);
  EXPECT_EQ(summary->workoutsByActivityType["HKWorkoutActivityTypeYoga"], 8u);
  EXPECT_EQ(summary->workoutsByActivityType["HKWorkoutActivityTypeCrossTraining"], 7u);
  EXPECT_EQ(summary->workoutsByActivityType["HKWorkoutActivityTypeMindAndBody"], 1u);
  EXPECT_EQ(summary->totalCorrelations(), 0u);
  // Sources count records and workouts alike; all 16 workouts are the watch's.
  EXPECT_EQ(summary->objectsBySource["User\u2019s Apple\u00a0Watch"], 1858u + 16u);
  EXPECT_EQ(summary->objectsBySource["User's iPhone"], 4u);
  EXPECT_EQ(summary->elementsNotStored["InstantaneousBeatsPerMinute"], 46u);
  EXPECT_EQ(summary->totalSkipped(), 0u);
  EXPECT_TRUE(summary->unknownUnits.empty());
  EXPECT_EQ(summary->locale, "en_ZA");
}

TEST_F(ExportFixturesTest, UneditedVersion8ExportReadsWholeWithItsDocumentType) {
  READ_OR_SKIP(summary, "rgosdin-2019-v8/apple_health_export/export.xml");
  EXPECT_EQ(summary->totalSamples(), 3352u);
  EXPECT_EQ(summary->samplesByType.size(), 7u);
  EXPECT_EQ(summary->samplesByType["HKQuantityTypeIdentifierStepCount"], 1588u);
  EXPECT_EQ(summary->samplesByType["HKQuantityTypeIdentifierDistanceWalkingRunning"], 1587u);
  EXPECT_EQ(summary->samplesByType["HKCategoryTypeIdentifierMindfulSession"], 1u);
  EXPECT_EQ(summary->objectsBySource["Ryan Phone"], 3345u);
  EXPECT_EQ(summary->objectsBySource["Health"], 4u);
  EXPECT_EQ(summary->objectsBySource["Clock"], 3u);
  EXPECT_EQ(summary->totalWorkouts(), 0u);
}

TEST_F(ExportFixturesTest, Version14SampleReadsItsCorrelationAndWorkoutsWithEvents) {
  READ_OR_SKIP(summary, "grll-v14-sample/export.xml");
  // 26 top-level records in 19 types, and the correlation's systolic and diastolic pressures.
  EXPECT_EQ(summary->totalSamples(), 28u);
  EXPECT_EQ(summary->samplesByType.size(), 21u);
  EXPECT_EQ(summary->correlationsByType["HKCorrelationTypeIdentifierBloodPressure"], 1u);
  EXPECT_EQ(summary->workoutsByActivityType["HKWorkoutActivityTypeWalking"], 1u);
  EXPECT_EQ(summary->workoutsByActivityType["HKWorkoutActivityTypeCycling"], 1u);
  EXPECT_EQ(summary->workoutEvents, 2u);
  EXPECT_EQ(summary->workoutStatistics, 3u);
  EXPECT_EQ(summary->samplesByType["HKQuantityTypeIdentifierBloodGlucose"], 2u);
}

TEST_F(ExportFixturesTest, Version11SampleReadsItsBloodPressureAndThirdPartyMetadata) {
  READ_OR_SKIP(summary, "ahcd-v11-sample/export.xml");
  EXPECT_EQ(summary->totalSamples(), 11u);
  EXPECT_EQ(summary->samplesByType["HKQuantityTypeIdentifierBloodPressureSystolic"], 7u);
  EXPECT_EQ(summary->samplesByType["HKQuantityTypeIdentifierBloodPressureDiastolic"], 1u);
  EXPECT_EQ(summary->totalCorrelations(), 1u);
  // Its 9 records, less the 2 its correlation holds, plus the correlation itself.
  EXPECT_EQ(summary->objectsBySource["ShinzoAdvisor"], 9u - 2u + 1u);
  EXPECT_EQ(summary->objectsBySource["freddie connect"], 2u);
}

TEST_F(ExportFixturesTest, SmallVariantsRead) {
  READ_OR_SKIP(dogsheep, "variants/dogsheep-2019/apple_health_export/export.xml");
  EXPECT_EQ(dogsheep->totalSamples(), 2u);
  EXPECT_EQ(dogsheep->workoutsByActivityType["HKWorkoutActivityTypeRunning"], 1u);
  READ_OR_SKIP(v3, "variants/tdda-v3-2016/export6s3sample.xml");
  EXPECT_EQ(v3->totalSamples(), 15u);
  EXPECT_EQ(v3->objectsBySource["Health"], 15u);
  EXPECT_EQ(v3->workoutsByActivityType["HKWorkoutActivityTypeOther"], 1u);
}

TEST_F(ExportFixturesTest, ReadingTwiceIntoFreshDevicesGivesTheSameUUIDs) {
  READ_OR_SKIP(first, "grll-v14-sample/export.xml");
  auto other = platform::SimulatedHealthDevice::create();
  auto second = readFixture("grll-v14-sample/export.xml", other);
  auto uuids = [&](const std::shared_ptr<platform::SimulatedHealthDevice>& from) {
    std::set<std::string> found;
    for (const auto& sample : savedSamples(from, *first)) found.insert(sample->UUID().UUIDString());
    return found;
  };
  auto once = uuids(device);
  EXPECT_EQ(once.size(), 28u);
  EXPECT_EQ(once, uuids(other));
}

// Exports carry no bundle identifiers, yet record conversion tells the watch's workouts and the
// Clock app's sleep by theirs: the phone keeps a device identifier of the Health app, the Health
// and Clock apps their own, and a third-party app none of Apple's.
TEST_F(ExportFixturesTest, SourcesGetBundleIdentifiersThatKeepTheirRole) {
  READ_OR_SKIP(v8, "rgosdin-2019-v8/apple_health_export/export.xml");
  std::map<std::string, std::set<std::string>> bundles;
  for (const auto& sample : savedSamples(device, *v8)) {
    const auto& source = sample->sourceRevision()->source();
    bundles[source->name()].insert(source->bundleIdentifier());
  }
  ASSERT_EQ(bundles["Ryan Phone"].size(), 1u);
  EXPECT_TRUE(bundles["Ryan Phone"].begin()->starts_with("com.apple.health."));
  EXPECT_EQ(bundles["Health"], std::set<std::string>{"com.apple.Health"});
  EXPECT_EQ(bundles["Clock"], std::set<std::string>{"com.apple.mobiletimer"});

  auto other = platform::SimulatedHealthDevice::create();
  auto v11 = readFixture("ahcd-v11-sample/export.xml", other);
  ASSERT_TRUE(v11);
  for (const auto& sample : savedSamples(other, *v11)) {
    EXPECT_FALSE(sample->sourceRevision()->source()->bundleIdentifier().starts_with("com.apple"))
        << sample->sourceRevision()->source()->name();
  }
}

}  // namespace
