#include "SessionFixture.h"

#include <gtest/gtest.h>

#include "OstrandHealthKit/OSTCachedValue.h"

namespace testing_support {

void SessionFixture::SetUp() {
  HealthKitFixture::SetUp();
  OSTResetCachedValuesForTesting();
  directory_ = std::make_unique<TemporaryDirectory>();
  databasePath_ = directory_->file("session.sqlite");
  session_ = OSTSession::sharedInstance();
  restartSession();
}

void SessionFixture::TearDown() {
  HealthKitFixture::TearDown();
  session_->endSession();
  directory_.reset();
  OSTResetCachedValuesForTesting();
}

void SessionFixture::restartSession() {
  session_->endSession();
  ASSERT_EQ(session_->startSession(kUserID, databasePath_), nullptr);
}

}  // namespace testing_support
