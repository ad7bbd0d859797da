// Seeded mutations of real and generated exports: cut short, bytes flipped, elements duplicated
// or left open, numbers and dates out of any range. Every one is read to the end or stopped
// with an error that names the file and the line, and never crashes. (Peak RSS varies with
// scheduling over hundreds of reads; the memory bound is HostileExportTest's.)

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>

#include "AppleHealthExport/AppleHealthExportReader.h"
#include "support/HealthKitFixture.h"
#include "support/TemporaryDirectory.h"

namespace {

using testing_support::HealthKitFixture;
using testing_support::TemporaryDirectory;

constexpr std::size_t kMutationsPerSeed = 40;
constexpr std::size_t kFixtureHeadBytes = 24 * 1024;

// A small export of every element kind the reader stores, generated from the seed.
std::string generatedExport(std::mt19937& random) {
  std::ostringstream xml;
  xml << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<HealthData locale=\"en_US\">\n"
         " <ExportDate value=\"2024-03-09 17:00:00 +0100\"/>\n";
  const int records = 2 + static_cast<int>(random() % 6);
  for (int i = 0; i < records; ++i) {
    xml << " <Record type=\"HKQuantityTypeIdentifierHeartRate\" sourceName=\"Watch\" "
           "unit=\"count/min\" startDate=\"2024-03-09 10:0"
        << i << ":00 +0100\" endDate=\"2024-03-09 10:0" << i << ":00 +0100\" value=\""
        << 50 + random() % 100
        << "\">\n  <MetadataEntry key=\"HKMetadataKeyHeartRateMotionContext\""
        << " value=\"1\"/>\n </Record>\n";
  }
  xml << " <Record type=\"HKCategoryTypeIdentifierSleepAnalysis\" sourceName=\"Phone\" "
         "startDate=\"2024-03-08 23:00:00 +0100\" endDate=\"2024-03-09 06:00:00 +0100\" "
         "value=\"HKCategoryValueSleepAnalysisAsleepCore\"/>\n"
         " <Correlation type=\"HKCorrelationTypeIdentifierBloodPressure\" sourceName=\"Cuff\" "
         "startDate=\"2024-03-09 08:00:00 +0100\" endDate=\"2024-03-09 08:00:00 +0100\">\n"
         "  <Record type=\"HKQuantityTypeIdentifierBloodPressureSystolic\" sourceName=\"Cuff\" "
         "unit=\"mmHg\" startDate=\"2024-03-09 08:00:00 +0100\" "
         "endDate=\"2024-03-09 08:00:00 +0100\" value=\"120\"/>\n"
         "  <Record type=\"HKQuantityTypeIdentifierBloodPressureDiastolic\" sourceName=\"Cuff\" "
         "unit=\"mmHg\" startDate=\"2024-03-09 08:00:00 +0100\" "
         "endDate=\"2024-03-09 08:00:00 +0100\" value=\"80\"/>\n"
         " </Correlation>\n"
         " <Workout workoutActivityType=\"HKWorkoutActivityTypeRunning\" duration=\"30\" "
         "durationUnit=\"min\" sourceName=\"Watch\" startDate=\"2024-03-09 07:00:00 +0100\" "
         "endDate=\"2024-03-09 07:30:00 +0100\">\n"
         "  <WorkoutEvent type=\"HKWorkoutEventTypeSegment\" date=\"2024-03-09 07:00:00 +0100\" "
         "duration=\"10\" durationUnit=\"min\"/>\n"
         "  <WorkoutStatistics type=\"HKQuantityTypeIdentifierActiveEnergyBurned\" "
         "startDate=\"2024-03-09 07:00:00 +0100\" endDate=\"2024-03-09 07:30:00 +0100\" "
         "sum=\"300\" unit=\"kcal\"/>\n"
         " </Workout>\n"
         " <ActivitySummary dateComponents=\"2024-03-09\" activeEnergyBurned=\"400\"/>\n"
         "</HealthData>\n";
  return xml.str();
}

const char* const kAbsurdNumbers[] = {
    "1e308",     "-1e308", "nan", "inf", "-0", "1e-320", "99999999999999999999999999",
    "0x1p99999", "",       "--1"};
// clang-format off
const char* const kAbsurdDates[] = {
    "9999-12-31 23:59:59 +9999", "0000-00-00 00:00:00 +0000", "2024-02-30 25:61:61 +0100",
    "-2024-01-01 00:00:00 +0000", "2024-03-09", "", "2024-03-09 10:00:00 +0100000000000000000000"};
// clang-format on

// One seeded change of `xml`: the kinds the reader meets in damaged or hand-edited exports.
std::string mutate(std::string xml, std::mt19937& random) {
  auto position = [&] { return xml.empty() ? 0 : static_cast<std::size_t>(random() % xml.size()); };
  auto replaceAttribute = [&](const char* attribute, const char* const* values, std::size_t n) {
    const std::string key = std::string(attribute) + "=\"";
    std::size_t at = xml.find(key, position());
    if (at == std::string::npos) at = xml.find(key);
    const std::size_t start = at + key.size(), end = xml.find('"', start);
    if (at != std::string::npos && end != std::string::npos) {
      xml.replace(start, end - start, values[random() % n]);
    }
  };
  switch (random() % 8) {
    case 0:  // cut short
      xml.resize(position());
      break;
    case 1:  // bytes flipped
      for (int i = 0, n = 1 + static_cast<int>(random() % 8); i < n && !xml.empty(); ++i) {
        xml[position()] ^= static_cast<char>(1 << (random() % 8));
      }
      break;
    case 2: {  // an element duplicated in place
      const std::size_t start = xml.find('<', position()), end = xml.find('>', start);
      if (end != std::string::npos) xml.insert(start, xml.substr(start, end - start + 1));
      break;
    }
    case 3: {  // an element left open: its closing tag or self-closing slash removed
      const std::size_t closing = xml.find("</", position());
      if (closing != std::string::npos) {
        xml.erase(closing, xml.find('>', closing) - closing + 1);
      } else if (const std::size_t slash = xml.rfind("/>"); slash != std::string::npos) {
        xml.erase(slash, 1);
      }
      break;
    }
    case 4:
      replaceAttribute("value", kAbsurdNumbers, std::size(kAbsurdNumbers));
      break;
    case 5:
      replaceAttribute(random() % 2 ? "startDate" : "endDate", kAbsurdDates,
                       std::size(kAbsurdDates));
      break;
    case 6:  // a deep nest of open elements
      xml.insert(position(), std::string(200, '<') + std::string(200, 'R'));
      break;
    default:  // a run of one byte, as a disk error leaves
      xml.insert(position(), std::string(1 + random() % 4096, static_cast<char>(random())));
      break;
  }
  return xml;
}

class MutatedExportTest : public HealthKitFixture {
 protected:
  // Reads `content` as an export; the read must end, with or without an error, in bounded time
  // and with an error that says where.
  void readMutation(const std::string& content, const std::string& label) {
    const std::string path = directory.file("export.xml");
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
    auto fresh = platform::SimulatedHealthDevice::create();
    AppleHealthExportReader reader;
    reader.setBatchSize(4);
    reader.setMaxTokenBytes(64 * 1024);
    // A read that never ends fails the suite through its ctest timeout.
    const auto summary = reader.read(path, fresh);
    fresh->stopAllQueries();
    if (summary.error) {
      ++errors;
      const auto& error = *summary.error;
      EXPECT_FALSE(error.message.empty()) << label;
      // A problem in the document is placed at a line of the file (only an unreadable file is
      // not).
      EXPECT_GT(error.line, 0u) << label << ": " << error.description();
      EXPECT_TRUE(error.description().starts_with("export.xml:" + std::to_string(error.line) + ":"))
          << label << ": " << error.description();
    } else {
      ++successes;
    }
  }

  TemporaryDirectory directory;
  std::size_t errors = 0;
  std::size_t successes = 0;
};

TEST_F(MutatedExportTest, GeneratedExportsSurviveEveryMutation) {
  std::mt19937 random(11);
  for (std::size_t i = 0; i < 8 * kMutationsPerSeed; ++i) {
    std::string xml = generatedExport(random);
    // Several changes stacked, sometimes.
    for (int n = 1 + static_cast<int>(random() % 3); n > 0; --n) xml = mutate(xml, random);
    readMutation(xml, "generated mutation " + std::to_string(i));
    if (HasFailure()) return;
  }
  std::cout << "[ mutations ] generated: " << successes << " read, " << errors
            << " stopped with an error\n";
  EXPECT_GT(errors, 0u);
  EXPECT_GT(successes, 0u);
}

TEST_F(MutatedExportTest, FixturesSurviveEveryMutation) {
  const std::filesystem::path root = std::filesystem::path(OST_FIXTURES_DIR) / "apple-health";
  if (!std::filesystem::exists(root)) GTEST_SKIP() << "no fixtures at " << root;
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    if (entry.is_regular_file() && entry.path().extension() == ".xml") files.push_back(entry);
  }
  std::sort(files.begin(), files.end());
  ASSERT_FALSE(files.empty());
  std::mt19937 random(23);
  for (const auto& file : files) {
    std::string head(kFixtureHeadBytes, '\0');
    head.resize(
        std::ifstream(file, std::ios::binary).read(head.data(), kFixtureHeadBytes).gcount());
    for (std::size_t i = 0; i < kMutationsPerSeed; ++i) {
      readMutation(mutate(head, random),
                   file.filename().string() + " mutation " + std::to_string(i));
      if (HasFailure()) return;
    }
  }
  std::cout << "[ mutations ] fixtures: " << files.size() << " files, " << successes << " read, "
            << errors << " stopped with an error\n";
}

}  // namespace
