#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OstrandCore/OSTFormatter.h"
#include "OstrandCore/OSTIntraDay.h"
#include "OstrandCore/OSTRecordCoder.h"
#include "OstrandCore/OSTWeight.h"

namespace {

using ::testing::HasSubstr;

constexpr NSDate kDate = NSDate::dateWithTimeIntervalSince1970(1710003600.25);

const OSTISO8601DateFormatter& formatter() {
  return *OSTFormatter::sharedFormatter()->ISO8601DateTimeFormatter();
}

// Sets every property of the record, cycling through the ways a number can be boxed, and a few
// extras of every kind.
void fillEveryProperty(OSTRecord& record) {
  int index = 0;
  auto fill = [&](std::span<const OSTPropertyInfo> properties) {
    for (const auto& property : properties) {
      ++index;
      switch (property.kind) {
        case OSTPropertyKind::Number: {
          const NSAny numbers[] = {NSAny(index % 2 == 0), NSAny(index * 7), NSAny(index + 0.1)};
          record.setValue(numbers[index % 3], property.name);
          break;
        }
        case OSTPropertyKind::String:
          record.setValue("value of " + std::string(property.name) + " \"é\"", property.name);
          break;
        case OSTPropertyKind::Date:
          record.setValue(kDate.dateByAddingTimeInterval(index / 3.0), property.name);
          break;
      }
    }
  };
  fill(OSTRecord::commonProperties());
  fill(record.ownProperties());
  record.setExtraValue(true, "flag");
  record.setExtraValue(-3, "count");
  record.setExtraValue(0.1 + 0.2, "ratio");
  record.setExtraValue(2.0, "whole_double");
  record.setExtraValue("Partly Cloudy", "weather_condition");
  if (auto* series = dynamic_cast<OSTIntraDay*>(&record)) {
    series->addValue(12, kDate, kDate.dateByAddingTimeInterval(60));
    series->addValue(0.5, kDate.dateByAddingTimeInterval(60), kDate.dateByAddingTimeInterval(120));
  }
}

class RecordRoundTripTest : public ::testing::TestWithParam<OSTRecordType> {};

TEST_P(RecordRoundTripTest, EveryPropertySurvivesJSON) {
  auto record = OSTRecord::newRecordWithType(GetParam());
  ASSERT_EQ(record->recordType(), GetParam());
  fillEveryProperty(*record);
  const std::string json = OSTRecordCoder::JSONFromRecord(*record);
  auto decoded = OSTRecordCoder::recordFromJSON(json);
  ASSERT_TRUE(decoded.ok()) << decoded.error->localizedDescription();
  EXPECT_TRUE(decoded.value->isEqual(*record)) << json << "\n" << decoded.value->description();
  EXPECT_EQ(OSTRecordCoder::JSONFromRecord(*decoded.value), json);
  // An empty record too.
  auto empty = OSTRecord::newRecordWithType(GetParam());
  auto decodedEmpty = OSTRecordCoder::recordFromJSON(OSTRecordCoder::JSONFromRecord(*empty));
  ASSERT_TRUE(decodedEmpty.ok());
  EXPECT_TRUE(decodedEmpty.value->isEqual(*empty));
}

INSTANTIATE_TEST_SUITE_P(AllKinds, RecordRoundTripTest,
                         ::testing::Values(OSTRecordTypeBiometrics, OSTRecordTypeDiabetes,
                                           OSTRecordTypeWeight, OSTRecordTypeRoutine,
                                           OSTRecordTypeNutrition, OSTRecordTypeFitness,
                                           OSTRecordTypeSleep, OSTRecordTypeIntraday),
                         [](const auto& param) {
                           return std::string(OSTRecordTypeName(param.param));
                         });

TEST(RecordCoderTest, FieldNamesAndFormatAreStable) {
  OSTWeight record;
  record.setActivityID("A1");
  record.setTimestamp(kDate);
  record.setValidated(true);
  record.setWeight(72.5);
  record.setExtraValue(60, "lean_body_mass");
  EXPECT_EQ(OSTRecordCoder::JSONFromRecord(record),
            R"({"kind":"weight","activityID":"A1","timestamp":"2024-03-09T17:00:00.25Z",)"
            R"("validated":true,"weight":72.5,"extras":{"lean_body_mass":60}})");

  // Bytes that are not UTF-8 (a source name from another app) cannot go into JSON as they are:
  // they become U+FFFD rather than stopping the submission.
  record.setOriginalSource(std::string("Scale \xff\xfe"));
  auto decoded = OSTRecordCoder::recordFromJSON(OSTRecordCoder::JSONFromRecord(record));
  ASSERT_TRUE(decoded.ok());
  EXPECT_EQ(decoded.value->originalSource(), "Scale \uFFFD\uFFFD");
}

TEST(RecordCoderTest, MalformedInputIsAnErrorSayingWhereAndWhat) {
  const std::pair<const char*, const char*> cases[] = {
      {"[]", "record JSON at /: expected an object, found array"},
      {"{}", "record JSON at /: missing \"kind\""},
      {R"({"kind":"heart"})", "record JSON at /kind: unknown record kind \"heart\""},
      {R"({"kind":"none"})", "record JSON at /kind: unknown record kind \"none\""},
      {R"({"kind":"weight","timestamp":"yesterday"})",
       "record JSON at /timestamp: not an ISO 8601 date-time: \"yesterday\""},
      {R"({"kind":"weight","weight":"72"})",
       "record JSON at /weight: expected a number, found string"},
      {R"({"kind":"weight","steps":1})",
       "record JSON at /steps: unknown field for a weight record"},
      {R"({"kind":"weight","extras":{"a/b":[1]}})",
       "record JSON at /extras/a~1b: expected a number, found array"},
      {R"({"kind":"weight","weight":18446744073709551615})",
       "record JSON at /weight: integer too large: 18446744073709551615"},
      {R"({"kind":"intraday","values":[{"start":"2024-03-09T17:00:00Z","end":"2024-03-09T16:00:00Z","value":1}]})",
       "record JSON at /values/0: end is before start"},
      {R"({"kind":"intraday","values":[{"start":"2024-03-09T17:00:00Z","value":1}]})",
       "record JSON at /values/0: missing \"end\""},
  };
  for (const auto& [json, message] : cases) {
    auto decoded = OSTRecordCoder::recordFromJSON(json);
    ASSERT_FALSE(decoded.ok()) << json;
    EXPECT_EQ(decoded.value, nullptr);
    EXPECT_EQ(decoded.error->domain(), kOSTCoreErrorDomain);
    EXPECT_EQ(decoded.error->code(), OSTCoreErrorInvalidRecord);
    EXPECT_EQ(decoded.error->localizedDescription(), message) << json;
  }
  auto truncated = OSTRecordCoder::recordFromJSON(R"({"kind":"weig)");
  ASSERT_FALSE(truncated.ok());
  EXPECT_THAT(truncated.error->localizedDescription(),
              HasSubstr("record JSON: parse error at line 1, column 14"));
}

TEST(DateFormatterTest, WritesUTCWithTheFewestFractionDigits) {
  const std::pair<NSDate, const char*> cases[] = {
      {NSDate::dateWithTimeIntervalSince1970(1710003600), "2024-03-09T17:00:00Z"},
      {kDate, "2024-03-09T17:00:00.25Z"},
      {NSDate(), "2001-01-01T00:00:00Z"},
      {NSDate::dateWithTimeIntervalSince1970(-0.5), "1969-12-31T23:59:59.5Z"},
      {NSDate::dateWithTimeIntervalSince1970(951782400), "2000-02-29T00:00:00Z"},
      {NSDate::dateWithTimeIntervalSince1970(-2208988800), "1900-01-01T00:00:00Z"},
  };
  for (const auto& [date, text] : cases) {
    EXPECT_EQ(formatter().stringFromDate(date), text);
    EXPECT_EQ(formatter().dateFromString(text), date) << text;
  }
}

TEST(DateFormatterTest, RoundTripIsExactForAwkwardFractions) {
  const NSDate dates[] = {
      kDate.dateByAddingTimeInterval(0.1),
      kDate.dateByAddingTimeInterval(1.0 / 3.0),
      NSDate::dateWithTimeIntervalSinceReferenceDate(-86400 - 1e-9),
      NSDate::dateWithTimeIntervalSinceReferenceDate(1e-300),
      NSDate::dateWithTimeIntervalSinceReferenceDate(std::nextafter(731696400.0, 1e12)),
      NSDate::distantFuture(),
  };
  for (const NSDate& date : dates) {
    const std::string text = formatter().stringFromDate(date);
    EXPECT_EQ(formatter().dateFromString(text), date) << text;
  }
}

TEST(DateFormatterTest, ReadsOffsetsAndRefusesInvalidDates) {
  const NSDate five = NSDate::dateWithTimeIntervalSince1970(1710003600);
  EXPECT_EQ(formatter().dateFromString("2024-03-09T12:00:00-05:00"), five);
  EXPECT_EQ(formatter().dateFromString("2024-03-10T03:30:00+1030"), five);
  EXPECT_EQ(formatter().dateFromString("2024-03-09T17:00:00.000000000Z"), five);
  for (const char* text :
       {"2024-02-30T00:00:00Z", "2023-02-29T00:00:00Z", "2024-13-01T00:00:00Z",
        "2024-03-09T24:00:00Z", "2024-03-09T17:00:60Z", "2024-03-09T17:00:00",
        "2024-03-09 17:00:00Z", "2024-03-09T17:00:00.Z", "2024-03-09T17:00:00Zjunk",
        "0000-01-01T00:00:00Z", "2024-3-09T17:00:00Z", ""}) {
    EXPECT_EQ(formatter().dateFromString(text), std::nullopt) << text;
  }
  // Before year 1 there is no ISO 8601 text without an extended year.
  EXPECT_EQ(formatter().stringFromDate(NSDate::distantPast()), "");
}

}  // namespace
