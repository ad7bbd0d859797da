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
#include "tools/OstrandTools/Export/ExportSync.h"
#include "tools/OstrandTools/Outbox/OutboxCommand.h"

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

// Files that are not what a command reads: status 1, and the message says which file and where.
TEST(Commands, AFileOfTheWrongKindIsRefusedWithStatusOneAndWhereItWentWrong) {
  TemporaryDirectory directory;
  const auto garbage = [&directory](const std::string& name, const std::string& text) {
    std::ofstream(directory.file(name)) << text;
    return directory.file(name);
  };
  std::ostringstream out;
  std::ostringstream err;
  const std::string notAnExport = garbage("export.xml", "<NotHealth/>\n");
  EXPECT_EQ(ostrand_tools::ExportSync(
                {.exportPath = notAnExport, .databasePath = directory.file("sync.sqlite")})
                .run(out, err),
            1);
  EXPECT_NE(err.str().find("export.xml:1:"), std::string::npos) << err.str();

  const std::string notADatabase =
      garbage("garbage.sqlite", "this is not a database, only text long enough to look like one");
  EXPECT_EQ(ostrand_tools::runOutbox(notADatabase, false, out, err), 1);
  EXPECT_NE(err.str().find(notADatabase + " is not a readable session database"), std::string::npos)
      << err.str();
  EXPECT_EQ(ostrand_tools::runOutbox(directory.file("missing.sqlite"), false, out, err), 1);
}

}  // namespace
