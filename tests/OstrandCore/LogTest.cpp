#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Foundation/NSError.h"
#include "OstrandCore/OSTLog.h"
#include "support/LogCapture.h"

namespace {

using ::testing::ElementsAre;

TEST(LogTest, FormatsPrintfPlaceholdersAndObjects) {
  EXPECT_EQ(OSTLog::format("%s Healthkit subscription failed: %@",
                           {std::string("setSubscriptions"), NSAny("No access")}),
            "setSubscriptions Healthkit subscription failed: No access");
  EXPECT_EQ(
      OSTLog::format("%d|%5ld|%lu|%.2f|%x|%%|%@", {-3LL, 42LL, 7ULL, 2.5, 255LL, NSAny(true)}),
      "-3|   42|7|2.50|ff|%|1");
  // Kinds that do not match, and missing arguments, never throw.
  EXPECT_EQ(OSTLog::format("%d and %s and %@", {std::string("text")}),
            "text and (missing) and (missing)");
}

TEST(LogTest, LinesAboveTheLevelAreDroppedAndTheRestCaptured) {
  testing_support::LogCapture capture;
  auto error = NSError::errorWithDomain(
      "d", 1, NSDictionary::dictionaryWithDictionary({{NSLocalizedDescriptionKey, "Denied"}}));
  OSTLog::log(2, "%s Healthkit subscription failed: %@", "setSubscriptions",
              error->localizedDescription());
  OSTLog::log(3, "%s debug detail", "fetch");
  OSTLog::setLevel(3);
  OSTLog::log(3, "%s count %lu", "fetch", std::size_t{4});
  OSTLog::setLevel(2);
  EXPECT_THAT(capture.lines(), ElementsAre("setSubscriptions Healthkit subscription failed: Denied",
                                           "fetch count 4"));
  EXPECT_THAT(capture.levels(), ElementsAre(2, 3));
}

}  // namespace
