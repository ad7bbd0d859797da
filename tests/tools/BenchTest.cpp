// The bench at its smallest: every measurement runs to the end and has its row, and off a
// terminal the table is all it prints. Its generated person: dates in the zone's offset of their
// moment, creation dates where each app saves, and a file the export reader takes whole.

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "AppleHealthExport/AppleHealthExportReader.h"
#include "support/TemporaryDirectory.h"
#include "tools/OstrandTools/Bench/Bench.h"
#include "tools/OstrandTools/Bench/BenchExportWriter.h"
#include "tools/OstrandTools/Bench/BenchExportZone.h"

namespace {

using ostrand_tools::BenchExportWriter;
using ostrand_tools::BenchExportZone;

TEST(BenchTest, QuickRunMeasuresEveryRow) {
  std::ostringstream out;
  std::ostringstream err;
  ASSERT_EQ(ostrand_tools::Bench({.quick = true}).run(out, err), 0) << err.str();
  const std::string table = out.str();
  EXPECT_EQ(table.rfind("Measurement", 0), 0u) << table;
  for (const char* row :
       {"conversion: biometrics", "conversion: diabetes", "conversion: weight",
        "conversion: nutrition", "conversion: fitness", "conversion: sleep", "outbox commit",
        "historical fetch, 6 months", "historical fetch, peak RSS growth",
        "background wake, an hour of data", "wake, the engine's own CPU",
        "replay, 1 day hour by hour", "export written", "export read", "export stored",
        "replay of the export since 2016-01-01", "replay of the export, peak RSS growth",
        "the whole run, peak RSS"}) {
    EXPECT_NE(table.find(row), std::string::npos) << row;
  }
}

TEST(BenchTest, ExportDatesCarryTheOffsetOfTheirMoment) {
  struct Case {
    const char* zone;
    std::int64_t moment;
    const char* text;
    double hoursToNextMidnight;  // from the local midnight before the moment
    bool repeatedWallClock;      // the clocks went back over it: its wall clock names two moments
  };
  const Case cases[] = {
      {"Europe/Berlin", 1459040399, "2016-03-27 01:59:59 +0100", 23, false},
      {"Europe/Berlin", 1459040400, "2016-03-27 03:00:00 +0200", 23, false},
      {"Europe/Berlin", 1477789200, "2016-10-30 02:00:00 +0100", 25, true},
      {"Europe/Berlin", 1451602799, "2015-12-31 23:59:59 +0100", 24, false},
      {"America/New_York", 1457852400, "2016-03-13 03:00:00 -0400", 23, false},
      {"Asia/Kolkata", 1456765200, "2016-02-29 22:30:00 +0530", 24, false},
      {"Australia/Lord_Howe", 1459605600, "2016-04-03 01:00:00 +1100", 24.5, false},
      {"Australia/Lord_Howe", 1459609200, "2016-04-03 01:30:00 +1030", 24.5, true},
  };
  for (const auto& c : cases) {
    const BenchExportZone zone(c.zone, c.moment - 3 * 86400, c.moment + 3 * 86400);
    char text[BenchExportZone::kDateLength];
    zone.format(c.moment, text);
    EXPECT_EQ(std::string(text, sizeof text), c.text) << c.zone << " " << c.moment;
    // The wall clock's midnight, moved by however much the offset changed since.
    const std::int64_t wallMidnight = c.moment - zone.localSecondsOfDay(c.moment);
    const std::int64_t midnight =
        wallMidnight + zone.offsetAt(c.moment) - zone.offsetAt(wallMidnight);
    ASSERT_EQ(zone.localSecondsOfDay(midnight), 0) << c.text;
    EXPECT_EQ(static_cast<double>(zone.nextMidnight(midnight) - midnight) / 3600,
              c.hoursToNextMidnight)
        << c.text;
    if (!c.repeatedWallClock) {
      const long wall = static_cast<long>(c.moment - wallMidnight);
      EXPECT_EQ(zone.atLocalTime(midnight, wall), c.moment) << c.text;
    }
  }
}

class CountingSink final : public AppleHealthExportSink {
 public:
  void add(const HKSourceRevision::Pointer&, std::shared_ptr<const HKObject>,
           std::optional<NSDate> creationDate) override {
    ++held;
    created += creationDate.has_value();
  }
  void remove(const NSUUID&) override {
    --held;
    --created;
  }
  long held = 0;
  long created = 0;
};

TEST(BenchTest, GeneratedExportIsReadWholeAndTheSameEveryTime) {
  testing_support::TemporaryDirectory directory;
  const std::string first = directory.file("export-1.xml");
  const std::string second = directory.file("export-2.xml");
  const auto written = BenchExportWriter::writeDays(first, 3);
  ASSERT_TRUE(written);
  ASSERT_TRUE(BenchExportWriter::writeDays(second, 3));
  auto text = [](const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
  };
  EXPECT_EQ(text(first), text(second));
  EXPECT_EQ(written->bytes, std::filesystem::file_size(first));
  EXPECT_EQ(written->days, 3);
  EXPECT_GT(written->objects, 3u * 5000);

  CountingSink sink;
  const auto summary = AppleHealthExportReader().read(first, sink);
  ASSERT_TRUE(summary.succeeded()) << summary.error->description();
  EXPECT_EQ(static_cast<std::uint64_t>(sink.held), written->objects);
  EXPECT_EQ(sink.created, sink.held);
  EXPECT_TRUE(summary.skipped.empty()) << summary.skipped.begin()->first;
  EXPECT_TRUE(summary.unknownTypes.empty()) << summary.unknownTypes.begin()->first;
  EXPECT_TRUE(summary.unknownUnits.empty()) << summary.unknownUnits.begin()->first;
  EXPECT_EQ(summary.correlationTwinsReplaced, 3u * (4 * 13 + 2));
  // The zone the replay will count the person's days in, named by the export's own metadata.
  EXPECT_EQ(summary.timeZoneNames.size(), 1u);
  EXPECT_GT(summary.timeZoneNames.count(BenchExportWriter::kZone), 0u);
  EXPECT_EQ(summary.exportedAt->timeIntervalSince1970(), written->exportedAt);
  // About four years of the person fill 4 GiB.
  const int days = BenchExportWriter::daysForBytes(std::uint64_t{4096} << 20);
  EXPECT_GT(days, 3 * 365);
  EXPECT_LT(days, 5 * 365);
}

}  // namespace
