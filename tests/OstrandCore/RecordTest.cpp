#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Foundation/NSDictionary.h"
#include "OstrandCore/OSTFitness.h"
#include "OstrandCore/OSTIntraDay.h"
#include "OstrandCore/OSTRecord.h"
#include "OstrandCore/OSTWeight.h"

namespace {

using ::testing::HasSubstr;

constexpr NSDate kDate = NSDate::dateWithTimeIntervalSince1970(1710003600.25);

std::string thrownMessage(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "(nothing thrown)";
}

TEST(RecordTest, KindsWithoutAClassMakeNoRecord) {
  EXPECT_EQ(OSTRecord::newRecordWithType(OSTRecordTypeNone), nullptr);
  EXPECT_EQ(OSTRecord::newRecordWithType(static_cast<OSTRecordType>(9)), nullptr);
}

TEST(RecordTest, UnknownNamesAndWrongKindsFailLoudly) {
  auto weight = std::make_shared<OSTWeight>();
  auto set = [&](NSAny value, const char* key) {
    return thrownMessage([&] { weight->setValue(value, key); });
  };
  // A property of another record class is as unknown as a misspelt one.
  EXPECT_EQ(set(1, "wieght"), "setValue:forKey: OSTWeight has no property 'wieght'");
  EXPECT_EQ(set(1, "systolic"), "setValue:forKey: OSTWeight has no property 'systolic'");
  EXPECT_EQ(set("heavy", "weight"), "OSTWeight property 'weight' takes a number, not a string");
  EXPECT_EQ(set(3, "timestamp"), "OSTWeight property 'timestamp' takes a date, not a number");
  EXPECT_THAT(set(std::nan(""), "weight"), HasSubstr("'weight' must be finite"));
  EXPECT_EQ(thrownMessage([&] { (void)weight->valueForKey("steps"); }),
            "valueForKey: OSTWeight has no property 'steps'");
  EXPECT_EQ(
      thrownMessage([&] { weight->setExtraValue(kDate, "when"); }),
      "setExtraValue:forKey: OSTWeight extra 'when' takes a number, boolean or string, not a date");
  // Nothing was written by the failed calls.
  EXPECT_TRUE(weight->propertyValues().empty());
  EXPECT_TRUE(weight->extras().empty());
}

TEST(RecordTest, NilClearsAPropertyAndRemovesAnExtra) {
  OSTFitness record;
  record.setValue(kDate, "startTime");
  record.setValue(nullptr, "startTime");
  EXPECT_EQ(record.startTime(), std::nullopt);
  record.setExtraValue(81.5, "lean_body_mass");
  record.setExtraValue(true, "flag");
  record.setExtraValue(nullptr, "flag");
  EXPECT_EQ(record.valueForKey("extras").objectAs<NSDictionary>()->allKeys(),
            std::vector<std::string>{"lean_body_mass"});
}

TEST(RecordTest, EqualityKeepsBoxingAndExactDates) {
  auto make = [](NSAny validated, NSDate timestamp) {
    auto record = std::make_shared<OSTWeight>();
    record->setValidated(std::move(validated));
    record->setTimestamp(timestamp);
    return record;
  };
  EXPECT_TRUE(make(true, kDate)->isEqual(*make(true, kDate)));
  EXPECT_FALSE(make(true, kDate)->isEqual(*make(1, kDate)));
  EXPECT_FALSE(make(1, kDate)->isEqual(*make(1.0, kDate)));
  EXPECT_FALSE(make(1, kDate)->isEqual(*make(1, kDate.dateByAddingTimeInterval(1e-6))));
  // Same values, different classes.
  auto sleep = OSTRecord::newRecordWithType(OSTRecordTypeSleep);
  auto nutrition = OSTRecord::newRecordWithType(OSTRecordTypeNutrition);
  EXPECT_FALSE(sleep->isEqual(*nutrition));
}

TEST(RecordTest, IntradayMinuteAddedTwiceKeepsTheLaterValue) {
  OSTIntraDay series;
  const NSDate minute = kDate;
  series.addValue(10, minute, minute.dateByAddingTimeInterval(60));
  series.addValue(12, minute.dateByAddingTimeInterval(60), minute.dateByAddingTimeInterval(120));
  series.addValue(15, minute, minute.dateByAddingTimeInterval(60));
  ASSERT_EQ(series.values().size(), 2u);
  EXPECT_EQ(series.values().begin()->second.value, 15);
  EXPECT_THAT(
      thrownMessage([&] { series.addValue(1, minute, minute.dateByAddingTimeInterval(-1)); }),
      HasSubstr("is before start"));
  EXPECT_EQ(series.values().size(), 2u);
}

}  // namespace
