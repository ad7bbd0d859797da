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

using Device = std::shared_ptr<platform::SimulatedHealthDevice>;

std::filesystem::path fixturePath(const std::string& relative) {
  const char* overridden = std::getenv("OST_FIXTURES_DIR");
  return std::filesystem::path(overridden ? overridden : OST_FIXTURES_DIR) / "apple-health" /
         relative;
}

// Keys: a sample type, "HKWorkoutActivityType..." or "HKCorrelationType..." identifier counts
// those; "source:", "notStored:" prefix a source or element name, "locale:" the locale (1 when
// it is); the rest name a total.
std::size_t countOf(AppleHealthExportSummary& summary, const std::string& key) {
  if (key == "samples") return summary.totalSamples();
  if (key == "types") return summary.samplesByType.size();
  if (key == "workouts") return summary.totalWorkouts();
  if (key == "correlations") return summary.totalCorrelations();
  if (key == "skipped") return summary.totalSkipped();
  if (key == "unknownUnits") return summary.unknownUnits.size();
  if (key == "workoutEvents") return summary.workoutEvents;
  if (key == "workoutStatistics") return summary.workoutStatistics;
  if (key.starts_with("locale:")) return summary.locale == key.substr(7);
  if (key.starts_with("source:")) return summary.objectsBySource[key.substr(7)];
  if (key.starts_with("notStored:")) return summary.elementsNotStored[key.substr(10)];
  if (key.starts_with("HKWorkoutActivityType")) return summary.workoutsByActivityType[key];
  if (key.starts_with("HKCorrelationType")) return summary.correlationsByType[key];
  return summary.samplesByType[key];
}

struct FixtureCounts {
  const char* path;
  std::map<std::string, std::size_t> counts;
};

// clang-format off
const FixtureCounts kFixtures[] = {
    // An iPhone and a watch of 2020. Sources count records and workouts alike; all 16 workouts
    // are the watch's.
    {"ipyhealth-2020/apple_health_export/export.xml",
     {{"samples", 1862}, {"types", 11}, {"correlations", 0}, {"skipped", 0}, {"unknownUnits", 0},
      {"HKQuantityTypeIdentifierActiveEnergyBurned", 736}, {"HKQuantityTypeIdentifierHeartRate", 350},
      {"HKCategoryTypeIdentifierAppleStandHour", 6}, {"HKWorkoutActivityTypeYoga", 8},
      {"HKWorkoutActivityTypeCrossTraining", 7}, {"HKWorkoutActivityTypeMindAndBody", 1},
      {"source:User\u2019s Apple\u00a0Watch", 1858 + 16}, {"source:User's iPhone", 4},
      {"notStored:InstantaneousBeatsPerMinute", 46}, {"locale:en_ZA", 1}}},
    // An unedited version 8 export, read whole with its document type.
    {"rgosdin-2019-v8/apple_health_export/export.xml",
     {{"samples", 3352}, {"types", 7}, {"workouts", 0}, {"HKQuantityTypeIdentifierStepCount", 1588},
      {"HKQuantityTypeIdentifierDistanceWalkingRunning", 1587},
      {"HKCategoryTypeIdentifierMindfulSession", 1},
      {"source:Ryan Phone", 3345}, {"source:Health", 4}, {"source:Clock", 3}}},
    // 26 top-level records in 19 types, and the correlation's systolic and diastolic pressures.
    {"grll-v14-sample/export.xml",
     {{"samples", 28}, {"types", 21}, {"workoutEvents", 2}, {"workoutStatistics", 3},
      {"HKCorrelationTypeIdentifierBloodPressure", 1}, {"HKQuantityTypeIdentifierBloodGlucose", 2},
      {"HKWorkoutActivityTypeWalking", 1}, {"HKWorkoutActivityTypeCycling", 1}}},
    // Its 9 records, less the 2 its correlation holds, plus the correlation itself.
    {"ahcd-v11-sample/export.xml",
     {{"samples", 11}, {"correlations", 1}, {"HKQuantityTypeIdentifierBloodPressureSystolic", 7},
      {"HKQuantityTypeIdentifierBloodPressureDiastolic", 1},
      {"source:ShinzoAdvisor", 9 - 2 + 1}, {"source:freddie connect", 2}}},
    {"variants/dogsheep-2019/apple_health_export/export.xml",
     {{"samples", 2}, {"HKWorkoutActivityTypeRunning", 1}}},
    {"variants/tdda-v3-2016/export6s3sample.xml",
     {{"samples", 15}, {"source:Health", 15}, {"HKWorkoutActivityTypeOther", 1}}},
};
// clang-format on

class ExportFixturesTest : public testing_support::HealthKitFixture {
 protected:
  void SetUp() override {
    HealthKitFixture::SetUp();
    if (!std::filesystem::exists(fixturePath(""))) {
      GTEST_SKIP() << "no fixtures at " << fixturePath("") << " (set OST_FIXTURES_DIR)";
    }
  }

  AppleHealthExportSummary readFixture(const std::string& relative, const Device& into) {
    auto summary = AppleHealthExportReader().read(fixturePath(relative).string(), into);
    EXPECT_TRUE(summary.succeeded()) << summary.error->description();
    return summary;
  }

  // Every sample of the summary's types that the export saved on `from`.
  std::vector<std::shared_ptr<const HKSample>> savedSamples(
      const Device& from, const AppleHealthExportSummary& summary) {
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

TEST_F(ExportFixturesTest, EachFixtureReadsWithItsCounts) {
  for (const auto& fixture : kFixtures) {
    SCOPED_TRACE(fixture.path);
    auto summary = readFixture(fixture.path, platform::SimulatedHealthDevice::create());
    for (const auto& [key, expected] : fixture.counts) {
      EXPECT_EQ(countOf(summary, key), expected) << key;
    }
  }
}

TEST_F(ExportFixturesTest, ReadingTwiceIntoFreshDevicesGivesTheSameUUIDs) {
  const auto first = readFixture("grll-v14-sample/export.xml", device);
  auto other = platform::SimulatedHealthDevice::create();
  readFixture("grll-v14-sample/export.xml", other);
  auto uuids = [&](const Device& from) {
    std::set<std::string> found;
    for (const auto& sample : savedSamples(from, first)) found.insert(sample->UUID().UUIDString());
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
  const auto v8 = readFixture("rgosdin-2019-v8/apple_health_export/export.xml", device);
  std::map<std::string, std::set<std::string>> bundles;
  for (const auto& sample : savedSamples(device, v8)) {
    const auto& source = sample->sourceRevision()->source();
    bundles[source->name()].insert(source->bundleIdentifier());
  }
  ASSERT_EQ(bundles["Ryan Phone"].size(), 1u);
  EXPECT_TRUE(bundles["Ryan Phone"].begin()->starts_with("com.apple.health."));
  EXPECT_EQ(bundles["Health"], std::set<std::string>{"com.apple.Health"});
  EXPECT_EQ(bundles["Clock"], std::set<std::string>{"com.apple.mobiletimer"});

  auto other = platform::SimulatedHealthDevice::create();
  const auto v11 = readFixture("ahcd-v11-sample/export.xml", other);
  for (const auto& sample : savedSamples(other, v11)) {
    EXPECT_FALSE(sample->sourceRevision()->source()->bundleIdentifier().starts_with("com.apple"))
        << sample->sourceRevision()->source()->name();
  }
}

}  // namespace
