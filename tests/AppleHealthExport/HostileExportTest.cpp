// Exports that are broken or hostile: each stops with a clear error naming the file and line,
// keeps what was saved before it, and never makes the reader's memory grow with the input.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <zip.h>

#include <cstdio>
#include <fstream>

#include "AppleHealthExport/AppleHealthExportReader.h"
#include "support/HealthKitFixture.h"
#include "support/TemporaryDirectory.h"

namespace {

using testing_support::HealthKitFixture;
using testing_support::TemporaryDirectory;

const std::string kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<HealthData locale=\"en_US\">\n";
const std::string kSteps =
    " <Record type=\"HKQuantityTypeIdentifierStepCount\" sourceName=\"Phone\" unit=\"count\" "
    "startDate=\"2019-12-29 10:12:31 +0200\" endDate=\"2019-12-29 10:14:31 +0200\" "
    "value=\"12\"/>\n";
const std::string kTail = "</HealthData>\n";

// A record from source W, starting 2019-12-29 10:12:31 +0200.
std::string record(const std::string& type, const std::string& unit, const std::string& value,
                   const std::string& end = "2019-12-29 10:12:31 +0200") {
  return " <Record type=\"" + type + "\" sourceName=\"W\"" +
         (unit.empty() ? "" : " unit=\"" + unit + "\"") +
         " startDate=\"2019-12-29 10:12:31 +0200\" endDate=\"" + end + "\" value=\"" + value +
         "\"/>\n";
}

class HostileExportTest : public HealthKitFixture {
 protected:
  std::string write(const std::string& name, const std::string& content) {
    std::ofstream(directory.file(name), std::ios::binary) << content;
    return directory.file(name);
  }
  std::string zipWith(const std::string& entry, const std::string& content) {
    int code = 0;
    zip_t* archive = zip_open(directory.file("export.zip").c_str(), ZIP_CREATE, &code);
    EXPECT_NE(archive, nullptr);
    zip_file_add(archive, entry.c_str(),
                 zip_source_buffer(archive, content.data(), content.size(), 0), 0);
    EXPECT_EQ(zip_close(archive), 0);
    return directory.file("export.zip");
  }
  AppleHealthExportSummary read(const std::string& path) {
    return AppleHealthExportReader().read(path, device);
  }

  TemporaryDirectory directory;
};

// Each refused input: its error, naming the file and where, and the samples saved before it.
TEST_F(HostileExportTest, BrokenAndHostileInputsStopWithTheirErrors) {
  std::string laughs = "<?xml version=\"1.0\"?>\n<!DOCTYPE HealthData [\n <!ENTITY lol \"lol\">\n";
  for (int i = 1; i < 10; ++i) {
    laughs += " <!ENTITY lol" + std::to_string(i) + " \"" + std::string(10, '&') + "\">\n";
  }
  laughs += "]>\n<HealthData>&lol9;</HealthData>\n";
  const std::string kEntityError =
      "export.xml:3: the document type declares an entity (<!ENTITY on line 3); exports never "
      "do, and entities are not expanded";
  // A .zip holds the content as a notes file, not as an export.
  const struct {
    std::string name, content, error;
    std::size_t kept;
  } cases[] = {
      {"export.xml", kHead + kSteps + " <Record type=\"HKQuan",
       "export.xml:4:2: <HealthData>: unclosed token (the file ends early)", 1},
      {"export.xml", std::string("\x01\x02garbage\xff", 11),
       "export.xml:1:1: not well-formed (invalid token)", 0},
      {"export.zip", "not an export",
       "export.zip: the archive holds no export.xml (no entry whose root element is "
       "<HealthData>)",
       0},
      {"export.xml", laughs, kEntityError, 0},
      // External entities are never loaded; undeclared, the reference is still refused.
      {"export.xml",
       "<?xml version=\"1.0\"?>\n<!DOCTYPE HealthData [\n"
       "<!ENTITY secret SYSTEM \"file:///etc/passwd\">\n]>\n<HealthData>&secret;</HealthData>\n",
       kEntityError, 0},
      {"undeclared.xml", kHead + "&secret;</HealthData>\n",
       "undeclared.xml:3:1: <HealthData>: undefined entity", 0},
  };
  for (const auto& [name, content, error, kept] : cases) {
    const auto summary =
        read(name.ends_with(".zip") ? zipWith("apple_health_export/notes.txt", content)
                                    : write(name, content));
    ASSERT_FALSE(summary.succeeded()) << error;
    EXPECT_EQ(summary.error->description(), error);
    EXPECT_EQ(summary.totalSamples(), kept) << error;
  }
}

TEST_F(HostileExportTest, ZippedAndDeclarationOnlyExportsRead) {
  const std::string dtd =
      "<?xml version=\"1.0\"?>\n<!DOCTYPE HealthData [\n<!ELEMENT HealthData (Record)*>\n"
      "<!ATTLIST HealthData locale CDATA #REQUIRED>\n<!ATTLIST broken\n]>\n"
      "<HealthData locale=\"en\">\n";
  // A zip entry is read as it decompresses.
  for (const auto& path : {zipWith("apple_health_export/export.xml", kHead + kSteps + kTail),
                           write("export.xml", dtd + kSteps + kTail)}) {
    // Each into a fresh device, where its record is no duplicate.
    const auto summary =
        AppleHealthExportReader().read(path, platform::SimulatedHealthDevice::create());
    ASSERT_TRUE(summary.succeeded()) << summary.error->description();
    EXPECT_EQ(summary.totalSamples(), 1u);
  }
}

TEST_F(HostileExportTest, HugeAttributeFailsWithoutGrowingMemory) {
  // 50 MB written in pieces, so the test itself never holds it.
  {
    std::ofstream out(directory.file("export.xml"), std::ios::binary);
    out << kHead << kSteps << " <Record type=\"";
    const std::string piece(1 << 20, 'A');
    for (int i = 0; i < 50; ++i) out << piece;
    out << "\"/>\n" << kTail;
  }
  auto peakKilobytes = [] {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
  };
  const long before = peakKilobytes();
  auto summary = read(directory.file("export.xml"));
  const long grown = peakKilobytes() - before;
  ASSERT_FALSE(summary.succeeded());
  EXPECT_EQ(summary.error->description(),
            "export.xml:4: <HealthData>: markup starting on line 4 is longer than 1048576 bytes "
            "(an export's elements are small)");
  EXPECT_EQ(summary.totalSamples(), 1u);
  // The parser buffers at most one token; a 50 MB token would show as 50 MB more.
  EXPECT_LT(grown, 16 * 1024) << "peak RSS grew by " << grown << " KB";
  std::printf("peak RSS growth reading a 50 MB attribute: %ld KB\n", grown);
}

TEST_F(HostileExportTest, ValuesHealthKitWouldRefuseAreSkippedWithReasons) {
  const std::string steps = "HKQuantityTypeIdentifierStepCount";
  auto summary =
      read(write("export.xml", kHead + kSteps + kSteps +
                                   record("HKCategoryTypeIdentifierAppleStandHour", "", "7") +
                                   record(steps, "count", "1", "2019-12-29 09:12:31 +0200") +
                                   record("HKQuantityTypeIdentifierNewThing", "count", "1") +
                                   record(steps, "paces", "1") + kTail));
  ASSERT_TRUE(summary.succeeded()) << summary.error->description();
  EXPECT_EQ(summary.totalSamples(), 1u);
  EXPECT_EQ(summary.skipped["duplicate record"], 1u);
  EXPECT_EQ(summary.skipped["category value out of range"], 1u);
  EXPECT_EQ(summary.skipped["end before start"], 1u);
  EXPECT_EQ(summary.unknownTypes["HKQuantityTypeIdentifierNewThing"], 1u);
  EXPECT_EQ(summary.unknownUnits["paces"], 1u);
}

}  // namespace
