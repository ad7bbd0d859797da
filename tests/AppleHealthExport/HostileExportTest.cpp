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

long peakKilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

class HostileExportTest : public HealthKitFixture {
 protected:
  std::string write(const std::string& name, const std::string& content) {
    std::ofstream(directory.file(name), std::ios::binary) << content;
    return directory.file(name);
  }
  AppleHealthExportSummary read(const std::string& path) {
    AppleHealthExportReader reader;
    return reader.read(path, device);
  }

  TemporaryDirectory directory;
};

TEST_F(HostileExportTest, TruncatedExportKeepsWhatWasReadAndSaysWhereItEnded) {
  auto summary = read(write("export.xml", kHead + kSteps + " <Record type=\"HKQuan"));
  ASSERT_FALSE(summary.succeeded());
  EXPECT_EQ(summary.error->description(),
            "export.xml:4:2: <HealthData>: unclosed token (the file ends early)");
  EXPECT_EQ(summary.samplesByType["HKQuantityTypeIdentifierStepCount"], 1u);
}

TEST_F(HostileExportTest, GarbageIsNotAnExport) {
  auto summary = read(write("export.xml", std::string("\x01\x02garbage\xff", 11)));
  ASSERT_FALSE(summary.succeeded());
  EXPECT_EQ(summary.error->description(), "export.xml:1:1: not well-formed (invalid token)");
}

TEST_F(HostileExportTest, ZipWithoutExportXmlSaysSo) {
  int code = 0;
  zip_t* archive = zip_open(directory.file("export.zip").c_str(), ZIP_CREATE, &code);
  ASSERT_NE(archive, nullptr);
  static const char kText[] = "not an export";
  zip_file_add(archive, "apple_health_export/notes.txt",
               zip_source_buffer(archive, kText, sizeof kText - 1, 0), 0);
  ASSERT_EQ(zip_close(archive), 0);
  auto summary = read(directory.file("export.zip"));
  ASSERT_FALSE(summary.succeeded());
  EXPECT_EQ(summary.error->description(),
            "export.zip: the archive holds no export.xml (no entry whose root element is "
            "<HealthData>)");
}

TEST_F(HostileExportTest, ZipEntryIsReadAsItDecompresses) {
  int code = 0;
  zip_t* archive = zip_open(directory.file("export.zip").c_str(), ZIP_CREATE, &code);
  const std::string xml = kHead + kSteps + "</HealthData>\n";
  zip_file_add(archive, "apple_health_export/export.xml",
               zip_source_buffer(archive, xml.data(), xml.size(), 0), 0);
  ASSERT_EQ(zip_close(archive), 0);
  auto summary = read(directory.file("export.zip"));
  ASSERT_TRUE(summary.succeeded()) << summary.error->description();
  EXPECT_EQ(summary.totalSamples(), 1u);
}

TEST_F(HostileExportTest, EntityDeclarationsAreRefusedNotExpanded) {
  std::string laughs = "<?xml version=\"1.0\"?>\n<!DOCTYPE HealthData [\n <!ENTITY lol \"lol\">\n";
  for (int i = 1; i < 10; ++i) {
    laughs += " <!ENTITY lol" + std::to_string(i) + " \"" + std::string(10, '&') + "\">\n";
  }
  laughs += "]>\n<HealthData>&lol9;</HealthData>\n";
  auto summary = read(write("export.xml", laughs));
  ASSERT_FALSE(summary.succeeded());
  EXPECT_EQ(summary.error->description(),
            "export.xml:3: the document type declares an entity (<!ENTITY on line 3); exports "
            "never do, and entities are not expanded");
}

TEST_F(HostileExportTest, ExternalEntitiesAreNeverLoaded) {
  auto summary = read(write("export.xml",
                            "<?xml version=\"1.0\"?>\n<!DOCTYPE HealthData [\n"
                            "<!ENTITY secret SYSTEM \"file:///etc/passwd\">\n]>\n"
                            "<HealthData>&secret;</HealthData>\n"));
  ASSERT_FALSE(summary.succeeded());
  EXPECT_EQ(summary.error->line, 3u);
  // Without the declaration the reference is one the parser does not know: still refused.
  auto undeclared = read(write("undeclared.xml", kHead + "&secret;</HealthData>\n"));
  ASSERT_FALSE(undeclared.succeeded());
  EXPECT_EQ(undeclared.error->description(), "undeclared.xml:3:1: <HealthData>: undefined entity");
}

TEST_F(HostileExportTest, DocumentTypeWithDeclarationsOnlyStillParses) {
  auto summary = read(write("export.xml",
                            "<?xml version=\"1.0\"?>\n<!DOCTYPE HealthData [\n"
                            "<!ELEMENT HealthData (Record)*>\n<!ATTLIST HealthData locale CDATA "
                            "#REQUIRED>\n<!ATTLIST broken\n]>\n<HealthData locale=\"en\">\n" +
                                kSteps + "</HealthData>\n"));
  ASSERT_TRUE(summary.succeeded()) << summary.error->description();
  EXPECT_EQ(summary.totalSamples(), 1u);
}

TEST_F(HostileExportTest, HugeAttributeFailsWithoutGrowingMemory) {
  // 50 MB written in pieces, so the test itself never holds it.
  {
    std::ofstream out(directory.file("export.xml"), std::ios::binary);
    out << kHead << kSteps << " <Record type=\"";
    const std::string piece(1 << 20, 'A');
    for (int i = 0; i < 50; ++i) out << piece;
    out << "\"/>\n</HealthData>\n";
  }
  const long before = peakKilobytes();
  AppleHealthExportReader reader;
  auto summary = reader.read(directory.file("export.xml"), device);
  const long grown = peakKilobytes() - before;
  ASSERT_FALSE(summary.succeeded());
  EXPECT_EQ(summary.error->description(),
            "export.xml:4: <HealthData>: markup starting on line 4 is longer than 1048576 bytes "
            "(an export's "
            "elements are small)");
  EXPECT_EQ(summary.totalSamples(), 1u);
  // The parser buffers at most one token; a 50 MB token would show as 50 MB more.
  EXPECT_LT(grown, 16 * 1024) << "peak RSS grew by " << grown << " KB";
  std::printf("peak RSS growth reading a 50 MB attribute: %ld KB\n", grown);
}

TEST_F(HostileExportTest, ValuesHealthKitWouldRefuseAreSkippedWithReasons) {
  auto summary = read(write(
      "export.xml",
      kHead + kSteps + kSteps +
          " <Record type=\"HKCategoryTypeIdentifierAppleStandHour\" sourceName=\"W\" "
          "startDate=\"2019-12-29 10:12:31 +0200\" endDate=\"2019-12-29 10:12:31 +0200\" "
          "value=\"7\"/>\n"
          " <Record type=\"HKQuantityTypeIdentifierStepCount\" sourceName=\"W\" unit=\"count\" "
          "startDate=\"2019-12-29 10:12:31 +0200\" endDate=\"2019-12-29 09:12:31 +0200\" "
          "value=\"1\"/>\n"
          " <Record type=\"HKQuantityTypeIdentifierNewThing\" sourceName=\"W\" unit=\"count\" "
          "startDate=\"2019-12-29 10:12:31 +0200\" endDate=\"2019-12-29 10:12:31 +0200\" "
          "value=\"1\"/>\n"
          " <Record type=\"HKQuantityTypeIdentifierStepCount\" sourceName=\"W\" unit=\"paces\" "
          "startDate=\"2019-12-29 10:12:31 +0200\" endDate=\"2019-12-29 10:12:31 +0200\" "
          "value=\"1\"/>\n</HealthData>\n"));
  ASSERT_TRUE(summary.succeeded()) << summary.error->description();
  EXPECT_EQ(summary.totalSamples(), 1u);
  EXPECT_EQ(summary.skipped["duplicate record"], 1u);
  EXPECT_EQ(summary.skipped["category value out of range"], 1u);
  EXPECT_EQ(summary.skipped["end before start"], 1u);
  EXPECT_EQ(summary.unknownTypes["HKQuantityTypeIdentifierNewThing"], 1u);
  EXPECT_EQ(summary.unknownUnits["paces"], 1u);
}

}  // namespace
