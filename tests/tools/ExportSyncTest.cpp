// The command's work as a developer meets it: an export synced twice gives the same outbox, and
// the outbox reader refuses what is not a session database with a clear message and status 1.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "OstrandCore/OSTRecordCoder.h"
#include "OutboxJSONLines.h"
#include "support/TemporaryDirectory.h"
#include "tools/OstrandTools/ExportSync.h"
#include "tools/OstrandTools/OutboxCommand.h"

namespace {

using testing_support::outboxJSONLines;
using testing_support::TemporaryDirectory;

std::filesystem::path fixture(const std::string& relative) {
  const char* overridden = std::getenv("OST_FIXTURES_DIR");
  return std::filesystem::path(overridden ? overridden : OST_FIXTURES_DIR) / "apple-health" /
         relative;
}

TEST(ExportSync, TheLargestExportSyncedTwiceGivesTheSameOutbox) {
  const auto path = fixture("rgosdin-2019-v8/apple_health_export/export.xml");
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "fixture not found: " << path;
  TemporaryDirectory directory;
  std::vector<std::string> outboxes[2];
  for (int i = 0; i < 2; ++i) {
    const std::string database = directory.file("sync" + std::to_string(i) + ".sqlite");
    std::ostringstream out;
    std::ostringstream err;
    ASSERT_EQ(ostrand_tools::ExportSync({.exportPath = path.string(), .databasePath = database})
                  .run(out, err),
              0)
        << err.str();
    EXPECT_NE(out.str().find("Records by kind"), std::string::npos) << out.str();
    outboxes[i] = outboxJSONLines(database);
  }
  EXPECT_FALSE(outboxes[0].empty());
  EXPECT_EQ(outboxes[0], outboxes[1]);
}

TEST(ExportSync, AnExportThatIsNotOneFailsWithItsLine) {
  TemporaryDirectory directory;
  const std::string garbage = directory.file("export.xml");
  std::ofstream(garbage) << "<NotHealth/>\n";
  std::ostringstream out;
  std::ostringstream err;
  EXPECT_EQ(ostrand_tools::ExportSync(
                {.exportPath = garbage, .databasePath = directory.file("sync.sqlite")})
                .run(out, err),
            1);
  EXPECT_NE(err.str().find("export.xml:1:"), std::string::npos) << err.str();
}

TEST(OutboxCommand, AFileThatIsNoDatabaseIsRefusedWithStatusOne) {
  TemporaryDirectory directory;
  const std::string garbage = directory.file("garbage.sqlite");
  std::ofstream(garbage) << "this is not a database, only text long enough to look like a header";
  std::ostringstream out;
  std::ostringstream err;
  EXPECT_EQ(ostrand_tools::runOutbox(garbage, false, out, err), 1);
  EXPECT_NE(err.str().find(garbage + " is not a readable session database"), std::string::npos)
      << err.str();
  EXPECT_EQ(ostrand_tools::runOutbox(directory.file("missing.sqlite"), false, out, err), 1);
}

}  // namespace
