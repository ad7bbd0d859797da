// What a replay reports the outbox misses, on exports whose losses are worked out by hand: a
// watch batch that reaches HealthKit after its day was summarised, nights on a locked phone, and
// an export whose objects arrive as they end.

#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "OutboxJSONLines.h"
#include "ReplayTestExport.h"
#include "support/TemporaryDirectory.h"
#include "tools/OstrandTools/Replay/Replay.h"

namespace {

using testing_support::TemporaryDirectory;

// 2026-03-02 00:00 in Berlin; the export is made at noon three days later.
const NSDate kFirstDay = NSDate::dateWithTimeIntervalSince1970(1772406000);
constexpr const char* kZone = "Europe/Berlin";

struct Written {
  const char* type;
  const char* source;
  const char* unit;
  double value;
  double hour;                  // from the first day's midnight; the sample takes no time
  std::optional<double> delay;  // hours from its end to its creation date; none: not written
};

void writeExport(const std::string& path, const std::vector<Written>& records) {
  const auto zone = NSTimeZone::timeZoneWithName(kZone);
  auto at = [&](double hour) {
    return testing_support::exportDate(kFirstDay.dateByAddingTimeInterval(hour * 3600), zone);
  };
  std::ostringstream xml;
  xml << "<HealthData locale=\"de_DE\">\n <ExportDate value=\"" << at(3 * 24 + 12) << "\"/>\n";
  for (const auto& record : records) {
    xml << " <Record type=\"" << record.type << "\" sourceName=\"" << record.source << "\" unit=\""
        << record.unit << "\" value=\"" << record.value << "\" startDate=\"" << at(record.hour)
        << "\" endDate=\"" << at(record.hour) << "\"";
    if (record.delay) xml << " creationDate=\"" << at(record.hour + *record.delay) << "\"";
    xml << "/>\n";
  }
  std::ofstream(path) << xml.str() << "</HealthData>\n";
}

Written heartRate(double value, double hour, std::optional<double> delay) {
  return {"HKQuantityTypeIdentifierHeartRate", "Watch", "count/min", value, hour, delay};
}

struct Replayed {
  ostrand_tools::OutboxMisses misses;
  std::string out;
  std::vector<std::string> outbox;
};

Replayed replay(const TemporaryDirectory& directory, const std::string& name,
                const std::vector<Written>& records, bool lockedNights = false) {
  ostrand_tools::ReplayOptions options{.exportPath = directory.file(name + ".xml"),
                                       .databasePath = directory.file(name + ".sqlite"),
                                       .since = "all",
                                       .timeZone = kZone,
                                       .lockedNights = lockedNights};
  writeExport(options.exportPath, records);
  ostrand_tools::Replay replay(options);
  std::ostringstream out, err;
  EXPECT_EQ(replay.run(out, err), 0) << err.str();
  auto outbox = ostrand_tools::readOutbox(*replay.phone().session());
  EXPECT_FALSE(outbox.error);
  return {replay.outboxMisses(outbox.value), out.str(),
          testing_support::outboxJSONLines(options.databasePath)};
}

TEST(OutboxMisses, AWatchBatchArrivingAfterItsDayWasSummarisedIsMissingFromThatDay) {
  TemporaryDirectory directory;
  std::vector<Written> records;
  for (int day = 0; day < 3; ++day) {
    records.push_back(heartRate(60, day * 24 + 10, 0.05));
    records.push_back(heartRate(70, day * 24 + 14, 0.05));
  }
  // The first evening's readings reach the phone at 09:30 the next morning; the morning open at
  // 07:00 has summarised the first day by then.
  for (double hour : {20.0, 21.0, 22.0}) records.push_back(heartRate(150, hour, 33.5 - hour));
  const auto [misses, out, outbox] = replay(directory, "late", records);

  EXPECT_NE(out.find("at their creation date (9 of 9 have one; the others at their end date); "
                     "3 arrived more than an hour after they ended"),
            std::string::npos)
      << out;
  EXPECT_EQ(misses.heartRate.compared, 3U);
  EXPECT_EQ(misses.heartRate.differing, 1U);
  EXPECT_EQ(misses.heartRate.withoutRecord, 0U);
  EXPECT_EQ(misses.heartRate.objects, 3U);
  EXPECT_EQ(misses.heartRate.amount, 3);
}

// A watch reading heart rate every hour, and a phone counting steps at 02:00 and 12:00, each
// saved a few minutes after it ends.
std::vector<Written> hourlyDays(bool withCreationDates) {
  auto delay = [withCreationDates](double hours) {
    return withCreationDates ? std::optional<double>(hours) : std::nullopt;
  };
  std::vector<Written> records;
  for (int hour = 0; hour < 3 * 24; ++hour) {
    records.push_back(heartRate(55 + hour % 40, hour, delay(2 / 60.0)));
    if (hour % 24 == 2 || hour % 24 == 12) {
      records.push_back({"HKQuantityTypeIdentifierStepCount", "Phone", "count", 100.0 + hour,
                         double(hour), delay(0.1)});
    }
  }
  return records;
}

TEST(OutboxMisses, ALockedNightLosesTheDayItSummarisesButNoSteps) {
  TemporaryDirectory directory;
  const auto unlocked = replay(directory, "unlocked", hourlyDays(true)).misses;
  const auto locked = replay(directory, "locked", hourlyDays(true), true).misses;

  for (const auto* misses : {&unlocked, &locked}) {
    EXPECT_EQ(misses->routine.compared, 3U);
    EXPECT_EQ(misses->routine.differing + misses->routine.withoutRecord, 0U);
    EXPECT_EQ(misses->minutes.compared, 3U);
    EXPECT_EQ(misses->minutes.differing + misses->minutes.withoutRecord, 0U);
  }
  EXPECT_EQ(unlocked.heartRate.compared, 3U);
  EXPECT_EQ(unlocked.heartRate.differing + unlocked.heartRate.withoutRecord, 0U);
  // Each day is summarised by the first wake after its midnight, on the locked phone: HealthKit
  // refuses the read and the day is never asked for again.
  EXPECT_EQ(locked.heartRate.compared, 0U);
  EXPECT_EQ(locked.heartRate.withoutRecord, 3U);
  EXPECT_EQ(locked.heartRate.objects, 72U);
}

TEST(OutboxMisses, AnExportWithoutCreationDatesReplaysAsIfEachObjectArrivedAsItEnded) {
  TemporaryDirectory directory;
  auto atTheirEnd = hourlyDays(true);
  for (auto& record : atTheirEnd) record.delay = 0;
  const auto without = replay(directory, "without", hourlyDays(false));
  const auto withEnds = replay(directory, "ends", atTheirEnd);

  EXPECT_NE(without.out.find("at their end date: the export gives no creation dates"),
            std::string::npos);
  EXPECT_FALSE(without.outbox.empty());
  EXPECT_EQ(without.outbox, withEnds.outbox);
}

}  // namespace
