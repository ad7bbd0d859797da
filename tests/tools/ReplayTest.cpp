// The replay as a developer relies on it: it lives through an export in the person's zone and
// brings every kind of record, it refuses bad options and exports with a clear message
// and leaves an existing database alone, it counts days in the person's zone, and the app finds
// everything that reaches HealthKit at one moment when it wakes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <vector>

#include "OutboxJSONLines.h"
#include "ReplayTestExport.h"
#include "support/TemporaryDirectory.h"
#include "tools/OstrandTools/Export/ExportTimeZone.h"
#include "tools/OstrandTools/Replay/Replay.h"
#include "tools/OstrandTools/Replay/ReplayRecordOrigins.h"

namespace {

using testing_support::TemporaryDirectory;

// 2024-03-29 00:00 in Berlin: the export's four days cross the change to summer time.
const NSDate kFirstDay = NSDate::dateWithTimeIntervalSince1970(1711666800);

TEST(Replay, LivesThroughTheExportInThePersonsZone) {
  TemporaryDirectory directory;
  const std::string exportPath = directory.file("export.xml");
  testing_support::writeReplayTestExport(exportPath, kFirstDay, 4, "Europe/Berlin");
  std::ostringstream out, err;
  ostrand_tools::Replay replay({.exportPath = exportPath,
                                .databasePath = directory.file("replay.sqlite"),
                                .since = "2024-03-30",
                                .until = "2024-04-01"});
  ASSERT_EQ(replay.run(out, err), 0) << err.str();
  EXPECT_NE(out.str().find("Time zone: Europe/Berlin (from the export's HKTimeZone metadata)"),
            std::string::npos)
      << out.str();
  // Installed at Berlin's midnight of the 30th; the 31st has 23 hours.
  EXPECT_EQ(replay.since(), kFirstDay.dateByAddingTimeInterval(86400));
  EXPECT_EQ(replay.until(), kFirstDay.dateByAddingTimeInterval(4 * 86400 - 3600));
  EXPECT_GT(replay.backgroundWakes(), 0u);
  EXPECT_EQ(replay.morningFetches(), 3u);
  // Per type: read, at install, while running, handed to the app, records of their own. Heart
  // rate (8 a day) only ever reaches the app as daily statistics; both runs, one before the
  // install, come with the historical fetch.
  EXPECT_NE(out.str().find("HeartRate                         32       8      24       0       0"
                           "  32 made into day records\n"),
            std::string::npos)
      << out.str();
  EXPECT_NE(out.str().find("HKWorkoutTypeIdentifier                                    2       1"
                           "       1       2       2\n"),
            std::string::npos);

  const auto replayed = testing_support::outboxJSONLines(directory.file("replay.sqlite"));
  // Workouts, weights, blood pressure, sleep and routine days all came through.
  for (const char* kind :
       {"\"fitness\"", "\"weight\"", "\"biometrics\"", "\"sleep\"", "\"routine\""}) {
    EXPECT_TRUE(std::any_of(replayed.begin(), replayed.end(), [kind](const std::string& line) {
      return line.find(kind) != std::string::npos;
    })) << kind;
  }
}

// Steps of a watch and a phone, each with a walk that began before 10:00 (Lord Howe) and ended
// after it, so both walks reach HealthKit at 11:00. Were the app woken between the two apps'
// saves, its 11:00 fetch would hold only the first app's walk, and the next fetch, which reaches
// back only to 10:00, would miss the other's minutes before 10:00.
constexpr char kTwoDevicesExport[] = R"(<HealthData locale="en_US">
 <ExportDate value="2026-04-16 14:00:00 +1030"/>
 <Record type="HKQuantityTypeIdentifierStepCount" sourceName="Watch" unit="count" startDate="2026-04-16 09:30:00 +1030" endDate="2026-04-16 09:40:00 +1030" value="400"/>
 <Record type="HKQuantityTypeIdentifierStepCount" sourceName="Watch" unit="count" startDate="2026-04-16 09:59:00 +1030" endDate="2026-04-16 10:04:00 +1030" value="500"/>
 <Record type="HKQuantityTypeIdentifierStepCount" sourceName="Phone" unit="count" startDate="2026-04-16 09:58:00 +1030" endDate="2026-04-16 10:01:00 +1030" value="300">
  <MetadataEntry key="HKTimeZone" value="Australia/Lord_Howe"/>
 </Record>
 <Record type="HKQuantityTypeIdentifierStepCount" sourceName="Phone" unit="count" startDate="2026-04-16 11:10:00 +1030" endDate="2026-04-16 11:20:00 +1030" value="200"/>
</HealthData>
)";

TEST(Replay, EverySourcesStepsReachTheIntradayMinutes) {
  TemporaryDirectory directory;
  const std::string exportPath = directory.file("export.xml");
  std::ofstream(exportPath) << kTwoDevicesExport;
  std::ostringstream out, err;
  ostrand_tools::Replay replay({.exportPath = exportPath,
                                .databasePath = directory.file("replay.sqlite"),
                                .since = "2026-04-16"});
  ASSERT_EQ(replay.run(out, err), 0) << err.str();
  // Per source, the latest value of each minute adds up to all the steps the source wrote.
  std::map<std::pair<std::string, std::string>, std::pair<std::string, double>> latest;
  for (const auto& line : testing_support::outboxJSONLines(directory.file("replay.sqlite"))) {
    const auto record = nlohmann::json::parse(line);
    if (record["kind"] != "intraday") continue;
    const auto timestamp = record["timestamp"].get<std::string>();
    for (const auto& minute : record["values"]) {
      auto& value = latest[{record["deviceSource"], minute["start"]}];
      if (value.first <= timestamp) value = {timestamp, minute["value"].get<double>()};
    }
  }
  std::map<std::string, double> steps;
  for (const auto& [minute, value] : latest) steps[minute.first] += value.second;
  EXPECT_THAT(steps, ::testing::UnorderedElementsAre(::testing::Pair(::testing::_, 900.0),
                                                     ::testing::Pair(::testing::_, 500.0)));
}

// An export's record of a moment of Berlin's winter time ("2026-02-24 15:00").
std::string exportRecord(const std::string& type, const std::string& source,
                         const std::string& unit, const std::string& at, const std::string& value) {
  return " <Record type=\"HKQuantityTypeIdentifier" + type + "\" sourceName=\"" + source +
         "\" unit=\"" + unit + "\" startDate=\"" + at + ":00 +0100\" endDate=\"" + at +
         ":00 +0100\" value=\"" + value + "\"/>\n";
}

std::string bloodPressure(const std::string& at, const std::string& systolic) {
  return " <Correlation type=\"HKCorrelationTypeIdentifierBloodPressure\" sourceName=\"Cuff\" "
         "startDate=\"" +
         at + ":00 +0100\" endDate=\"" + at + ":00 +0100\">\n " +
         exportRecord("BloodPressureSystolic", "Cuff", "mmHg", at, systolic) + " " +
         exportRecord("BloodPressureDiastolic", "Cuff", "mmHg", at, "80") + " </Correlation>\n";
}

std::string water(const std::string& at, const std::string& value, const char* unit = "mL") {
  return exportRecord("DietaryWater", "MacroTracker", unit, at, value);
}

std::string bodyMass(const std::string& at, const std::string& kilograms) {
  return exportRecord("BodyMass", "Scale", "kg", at, kilograms);
}

// Objects that a type's first fetches read by end date, ending at the hour at which they are
// saved or the app is opened: the app is handed every one, and the summary blames nothing.
struct SavedOnTheHour {
  const char* name;
  std::string objects;
  const char* field;  // of the outbox records
  std::vector<double> values;
};

class ReplayHandsOver : public ::testing::TestWithParam<SavedOnTheHour> {};

TEST_P(ReplayHandsOver, EveryObjectSavedOnTheHour) {
  TemporaryDirectory directory;
  const auto& c = GetParam();
  const std::string exportPath = directory.file("export.xml");
  std::ofstream(exportPath) << "<HealthData locale=\"en_US\">\n <ExportDate value=\"2026-03-16 "
                               "12:00:00 +0100\"/>\n"
                            << c.objects << "</HealthData>\n";
  const std::string database = directory.file("replay.sqlite");
  std::ostringstream out, err;
  ASSERT_EQ(ostrand_tools::Replay({.exportPath = exportPath,
                                   .databasePath = database,
                                   .since = "all",
                                   .timeZone = "Europe/Berlin"})
                .run(out, err),
            0)
      << err.str();
  std::vector<double> values;
  for (const auto& line : testing_support::outboxJSONLines(database)) {
    const auto record = nlohmann::json::parse(line);
    if (record.contains(c.field)) values.push_back(record[c.field].get<double>());
  }
  std::sort(values.begin(), values.end());
  ASSERT_EQ(values.size(), c.values.size()) << out.str();
  for (std::size_t i = 0; i < values.size(); ++i) EXPECT_NEAR(values[i], c.values[i], 1e-6);
  EXPECT_EQ(out.str().find("never handed"), std::string::npos) << out.str();
}

INSTANTIATE_TEST_SUITE_P(
    FirstFetches, ReplayHandsOver,
    ::testing::Values(
        // Glasses logged on the hour, in two units.
        SavedOnTheHour{"WaterOfTheFirstAfternoon",
                       water("2026-02-24 10:00", "500") + water("2026-02-24 15:00", "330") +
                           water("2026-02-25 10:00", "500") +
                           water("2026-02-25 15:00", "12", "fl_oz_us"),
                       "water",
                       {330, 12 * 29.5735295625, 500, 500}},
        // Weighed at 07:00, as the phone is opened, on three mornings.
        SavedOnTheHour{"BodyMassOfTheSecondMorning",
                       bodyMass("2026-02-24 07:00", "70.5") + bodyMass("2026-02-25 07:00", "72") +
                           bodyMass("2026-03-01 07:00", "71"),
                       "weight",
                       {70.5, 71, 72}},
        // Blood pressure wakes no app in the background: both readings come with the morning
        // open.
        SavedOnTheHour{
            "BloodPressureAtTheMorningOpen",
            bloodPressure("2026-02-24 06:30", "121") + bloodPressure("2026-02-24 07:00", "127"),
            "systolic",
            {121, 127}}),
    [](const auto& row) { return std::string(row.param.name); });

// The summary tells an object the app was never handed from one the conversion refused.
TEST(ReplaySummary, SaysWhyEachObjectMadeNoRecord) {
  const std::string water = "HKQuantityTypeIdentifierDietaryWater";
  const NSDate since = NSDate::dateWithTimeIntervalSince1970(1771891200);
  ostrand_tools::ReplayTimeline::ReleasedObjects saved;
  for (double hours : {-30.0, -2.0, 1.0, 2.0, 3.0}) {
    saved.push_back({NSUUID(), &water, since.dateByAddingTimeInterval(hours * 3600)});
  }
  // The app was handed the one before --since that the historical fetch read and two later
  // ones; it made records of the first two.
  const std::set<NSUUID> handed{saved[1].uuid, saved[2].uuid, saved[3].uuid};
  ostrand_tools::Records records;
  for (const auto* object : {&saved[1], &saved[2]}) {
    records.push_back(OSTRecord::newRecordWithType(OSTRecordTypeNutrition));
    records.back()->setActivityID(object->uuid.UUIDString());
  }
  ostrand_tools::ReplayedTypes types;
  types.read[water] = 6;
  types.atInstall[water] = 2;
  types.whileRunning[water] = 3;
  types.subscribed.insert(water);
  ostrand_tools::countObjectFates(saved, records, handed, since, types);
  std::ostringstream out;
  ostrand_tools::printReplayedTypes(out, types);
  EXPECT_NE(out.str().find("6       2       3       3       2  1 never handed to the app; 1 never "
                           "handed to the app, in HealthKit before --since; 1 handed to the app, "
                           "refused by the conversion; 1 after --until\n"),
            std::string::npos)
      << out.str();
}

struct BadReplay {
  const char* name;
  const char* exportText;  // nullptr: the generated export
  ostrand_tools::ReplayOptions options;
  int status;
  const char* message;
};

class ReplayRefuses : public ::testing::TestWithParam<BadReplay> {};

TEST_P(ReplayRefuses, WithAClearMessageAndTheDatabaseUntouched) {
  TemporaryDirectory directory;
  const auto& bad = GetParam();
  auto options = bad.options;
  options.exportPath = directory.file("export.xml");
  options.databasePath = directory.file("kept.sqlite");
  if (bad.exportText) {
    std::ofstream(options.exportPath) << bad.exportText;
  } else {
    testing_support::writeReplayTestExport(options.exportPath, kFirstDay, 2, "Europe/Berlin");
  }
  const std::string kept = "an earlier run's database, not to be touched";
  std::ofstream(options.databasePath) << kept;
  std::ostringstream out, err;
  EXPECT_EQ(ostrand_tools::Replay(options).run(out, err), bad.status);
  EXPECT_NE(err.str().find(bad.message), std::string::npos) << err.str();
  std::ifstream in(options.databasePath);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), kept);
  EXPECT_FALSE(std::filesystem::exists(options.databasePath + ".replay"));
}

INSTANTIATE_TEST_SUITE_P(
    BadInput, ReplayRefuses,
    ::testing::Values(BadReplay{"Truncated",
                                "<HealthData>\n <Record type=\"HKQuantityTypeIdentifierStepCount\"",
                                {},
                                1,
                                "export.xml:2:"},
                      BadReplay{"NoExportDate",
                                "<HealthData>\n</HealthData>\n",
                                {},
                                1,
                                "the export does not say when it was made"},
                      BadReplay{"SinceNotADay",
                                nullptr,
                                {.since = "yesterday"},
                                2,
                                "--since 'yesterday' is neither a day (YYYY-MM-DD) nor 'all'"},
                      BadReplay{"SinceNoSuchDay",
                                nullptr,
                                {.since = "2024-02-30"},
                                2,
                                "--since '2024-02-30' is not a day of the calendar"},
                      BadReplay{"UntilNotADay",
                                nullptr,
                                {.until = "2024-4-1"},
                                2,
                                "--until '2024-4-1' is not a day (YYYY-MM-DD)"},
                      BadReplay{"UntilBeforeSince",
                                nullptr,
                                {.since = "2024-03-30", .until = "2024-03-29"},
                                2,
                                "check --since and --until"},
                      BadReplay{"UnknownZone",
                                nullptr,
                                {.timeZone = "Mars/Olympus"},
                                2,
                                "unknown time zone 'Mars/Olympus' (--time-zone)"}),
    [](const auto& row) { return std::string(row.param.name); });

// Zone evidence as the reader gathers it, and what the tool chooses from it.
AppleHealthExportSummary evidence(std::map<std::string, std::size_t> names,
                                  std::map<int, std::vector<double>> offsets) {
  AppleHealthExportSummary summary;
  summary.timeZoneNames = std::move(names);
  for (const auto& [offset, times] : offsets) {
    for (double t : times) {
      summary.writtenOffsets[offset].push_back(NSDate::dateWithTimeIntervalSince1970(t));
    }
  }
  return summary;
}

constexpr double kJanuary2024 = 1704103200, kJuly2024 = 1719835200;  // the 1st, 10:00 UTC
constexpr double kLastMarch2024 = 1711846800;                        // 31st, 01:00 UTC

struct ZoneCase {
  const char* name;
  AppleHealthExportSummary summary;
  std::string option;
  std::optional<std::string> processSetting;
  const char* zone;
  const char* source;
};

class ExportZone : public ::testing::TestWithParam<ZoneCase> {};

TEST_P(ExportZone, IsChosenFromTheStrongestEvidence) {
  const auto& c = GetParam();
  const auto chosen = ostrand_tools::chooseExportTimeZone(c.summary, c.option, c.processSetting);
  ASSERT_TRUE(chosen.zone) << chosen.error;
  EXPECT_EQ(chosen.source, c.source);
  EXPECT_EQ(chosen.zone->name(), c.zone);
}

const auto kBerlinOffsets = std::map<int, std::vector<double>>{
    {3600, {kJanuary2024, kLastMarch2024 - 3600}}, {7200, {kLastMarch2024 + 3600, kJuly2024}}};

INSTANTIATE_TEST_SUITE_P(
    Evidence, ExportZone,
    ::testing::Values(
        ZoneCase{"Metadata",
                 evidence({{"Europe/Berlin", 3}}, kBerlinOffsets),
                 "",
                 {},
                 "Europe/Berlin",
                 "from the export's HKTimeZone metadata"},
        // A trip: the zone most dates agree with wins over the one named more often.
        ZoneCase{"MetadataAgreeingWithTheDates",
                 evidence({{"Europe/Berlin", 2}, {"America/New_York", 9}}, kBerlinOffsets),
                 "",
                 {},
                 "Europe/Berlin",
                 "from the export's HKTimeZone metadata"},
        ZoneCase{"FixedOffset",
                 evidence({}, {{19800, {kJanuary2024, kJuly2024}}}),
                 "",
                 {},
                 "GMT+0530",
                 "a fixed offset: every date in the export was written with +0530"},
        ZoneCase{"TZOverridesTheExport", evidence({{"Europe/Berlin", 3}}, kBerlinOffsets), "",
                 "Asia/Tokyo", "Asia/Tokyo", "from TZ"},
        ZoneCase{"OptionOverridesTZ", evidence({{"Europe/Berlin", 3}}, kBerlinOffsets),
                 "Australia/Lord_Howe", "Asia/Tokyo", "Australia/Lord_Howe", "from --time-zone"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ExportZone, OffsetsWithSummerTimeGiveAZoneThatAgreesWithEveryDate) {
  const auto summary = evidence({}, kBerlinOffsets);
  const auto chosen = ostrand_tools::chooseExportTimeZone(summary, "", std::nullopt);
  ASSERT_TRUE(chosen.zone);
  EXPECT_EQ(chosen.source, "the first zone whose offsets agree with every date in the export");
  EXPECT_NE(chosen.zone->name().find('/'), std::string::npos) << chosen.zone->name();
  for (const auto& [offset, dates] : summary.writtenOffsets) {
    for (const auto& date : dates) EXPECT_EQ(chosen.zone->secondsFromGMTForDate(date), offset);
  }
}

}  // namespace
