#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "Foundation/Dispatch.h"
#include "Foundation/NSError.h"
#include "Foundation/NSLog.h"
#include "Foundation/Platform/DispatchRuntime.h"
#include "support/SystemLogCapture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;
using testing_support::SystemLogCapture;

TEST(NSLog, FillsPlaceholdersWithTextsAndDescriptions) {
  SystemLogCapture log;
  const auto error = NSError::errorWithDomain(
      "com.apple.healthkit", 5,
      NSDictionary::dictionaryWithDictionary({{NSLocalizedDescriptionKey, "Not authorized"}}));
  const std::shared_ptr<const NSError> none;

  NSLog("HealthKit Authorization Error: %@", error);
  NSLog("%s took %ld ms (%d%%), %@ then %@", std::string("fetch"), 12L, 50, none);

  EXPECT_THAT(log.messages(), ElementsAre("HealthKit Authorization Error: " + error->description(),
                                          "fetch took 12 ms (50%), (null) then (missing)"));
}

TEST(NSLog, MessagesFromWorkerThreadsEachArriveWhole) {
  SystemLogCapture log;
  for (int i = 0; i < 3; ++i) {
    dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0),
                   [i] { NSLog("worker %d done", i); });
  }
  platform::DispatchRuntime::shared().runUntilIdle();
  EXPECT_THAT(log.messages(),
              UnorderedElementsAre("worker 0 done", "worker 1 done", "worker 2 done"));
}

}  // namespace
