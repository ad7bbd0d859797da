// A replay killed with kill -9 at any write and started again on the same database ends with
// every record present and none twice.
//
// The parent reruns this binary as a child filtered to ChildReplaysUntilKilled: one launch of
// `replay` on the database, whose store raises SIGKILL itself at the write the parent names
// (before or after an outbox write or a session save; no timing involved). The parent relaunches
// with seeded kill points until a child finishes, then compares the outbox, record for record,
// with that of a replay that was never interrupted: every record there, under one identity, and
// every minute of steps with its value. Two fetches store how far they went before they submit,
// so a kill between the two skips that stretch for good; such records are counted apart: heart-
// rate summaries, and the records of a type still without an anchor (its first fetches read a
// window from its query date) dated before the query date a killed launch left.

#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <sstream>

#include "HealthKit/HKObjectType.h"
#include "OstrandCore/OSTSQLiteStore.h"
#include "OstrandHealthKit/OSTHealthKitSubscription.h"
#include "ReplayTestExport.h"
#include "support/KilledChild.h"
#include "support/TemporaryDirectory.h"
#include "tools/OstrandTools/Replay/Replay.h"

namespace {

constexpr char kChildVariable[] = "OST_REPLAY_CRASH";  // "<write to die at> <database> <export>"
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kKills = 6;  // a child costs several times more under the sanitizers
#else
constexpr int kKills = 16;
#endif

// Forwards to SQLite; at write step `killAt` (each outbox write and session save is two steps,
// before and after) it notes the step in "<database>.kill" and raises SIGKILL.
class KillPointStore final : public OSTStore {
 public:
  KillPointStore(const std::string& database, long killAt, long* steps = nullptr)
      : store_(database), killAt_(killAt), database_(database), counted_(steps) {}

  std::string path() const override { return store_.path(); }
  OSTStatus open() override { return store_.open(); }
  OSTResult<OSTStoredSessionData> loadSessionData() override { return store_.loadSessionData(); }
  OSTStatus saveSessionData(OSTStoredSessionData data) override {
    step('S');
    auto status = store_.saveSessionData(std::move(data));
    step('s');
    return status;
  }
  OSTStatus addToOutbox(const std::vector<OSTOutboxRow>& rows) override {
    step('O');
    auto status = store_.addToOutbox(rows);
    step('o');
    return status;
  }
  OSTResult<std::vector<OSTOutboxRow>> outbox(std::size_t limit) override {
    return store_.outbox(limit);
  }
  OSTStatus removeFromOutbox(const std::vector<std::int64_t>& identifiers) override {
    return store_.removeFromOutbox(identifiers);
  }

 private:
  void step(char point) {
    if (counted_) ++*counted_;
    if (++steps_ != killAt_) return;
    std::ofstream(database_ + ".kill") << point;
    raise(SIGKILL);
  }

  OSTSQLiteStore store_;
  long killAt_, steps_ = 0;
  std::string database_;
  long* counted_;  // also counts here, when given
};

ostrand_tools::ReplayOptions options(const std::string& exportPath, const std::string& database) {
  return {.exportPath = exportPath,
          .databasePath = database,
          .since = "2024-03-30",
          .until = "2024-04-01",
          .timeZone = "Europe/Berlin"};
}

TEST(ReplayCrash, ChildReplaysUntilKilled) {
  const char* variable = std::getenv(kChildVariable);
  if (variable == nullptr) GTEST_SKIP() << "runs only as the replay crash test's child";
  long killAt = 0;
  std::string database, exportPath;
  std::istringstream(variable) >> killAt >> database >> exportPath;
  auto chosen = options(exportPath, database);
  long steps = 0;
  chosen.openStore = [killAt, &steps](const std::string& path) {
    return std::make_unique<KillPointStore>(path, killAt, &steps);
  };
  std::ostringstream out, err;
  ASSERT_EQ(ostrand_tools::Replay(chosen).run(out, err), 0) << err.str();
  std::ofstream(database + ".steps") << steps;
}

// Runs one child; the kind of write it was killed at, or 0 when it ran to the end.
char runChild(const std::string& database, const std::string& exportPath, long killAt) {
  return runKilledChild("ReplayCrash.ChildReplaysUntilKilled", kChildVariable,
                        std::to_string(killAt) + " " + database + " " + exportPath, database);
}

// What a fresh process finds in the outbox: each record by its kind and activity identifier, how
// many rows hold each, and the minute values of the records that have no identifier (intraday
// steps, by source and minute).
struct Outbox {
  std::map<std::string, std::string> bodies;
  std::map<std::string, std::size_t> copies;
  std::map<std::string, double> minutes;
  std::set<std::string> conflictingMinutes;
};

Outbox outboxRows(const std::string& path) {
  Outbox outbox;
  sqlite3* db = nullptr;
  EXPECT_EQ(sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
  sqlite3_stmt* row = nullptr;
  EXPECT_EQ(sqlite3_prepare_v2(db, "SELECT kind, activity_id, body FROM outbox", -1, &row, nullptr),
            SQLITE_OK);
  auto text = [row](int column) {
    const auto* value = sqlite3_column_text(row, column);
    return value == nullptr ? std::string() : std::string(reinterpret_cast<const char*>(value));
  };
  while (sqlite3_step(row) == SQLITE_ROW) {
    const auto body = nlohmann::json::parse(text(2));
    if (sqlite3_column_type(row, 1) != SQLITE_NULL) {
      const std::string identity = text(0) + " " + text(1);
      ++outbox.copies[identity];
      outbox.bodies[identity] = body.dump();
      continue;
    }
    for (const auto& minute : body.value("values", nlohmann::json::array())) {
      const std::string key = body.value("deviceSource", "") + " " + minute.value("start", "");
      const double value = minute.value("value", 0.0);
      auto [at, added] = outbox.minutes.emplace(key, value);
      if (!added && at->second != value) outbox.conflictingMinutes.insert(key);
    }
  }
  sqlite3_finalize(row);
  sqlite3_close(db);
  return outbox;
}

// The first-fetch windows a killed launch left: per record kind, the latest query date (as an
// ISO 8601 UTC text, comparable with record timestamps) of a type of that kind with no anchor.
using SkippableWindows = std::map<std::string, std::string>;

void addFirstFetchWindows(const std::string& path, SkippableWindows& windows) {
  sqlite3* db = nullptr;
  EXPECT_EQ(sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
  sqlite3_stmt* row = nullptr;
  EXPECT_EQ(sqlite3_prepare_v2(db,
                               "SELECT sample_type, date FROM query_date WHERE sample_type NOT IN "
                               "(SELECT sample_type FROM anchor)",
                               -1, &row, nullptr),
            SQLITE_OK);
  while (sqlite3_step(row) == SQLITE_ROW) {
    const auto type =
        HKObjectType::typeForIdentifier(reinterpret_cast<const char*>(sqlite3_column_text(row, 0)));
    const auto sampleType = std::dynamic_pointer_cast<const HKSampleType>(type);
    if (!sampleType) continue;
    const auto kind = std::to_string(
        static_cast<int>(OSTHealthKitSubscription::recordTypeForSampleType(*sampleType)));
    const std::time_t seconds =
        static_cast<std::time_t>(sqlite3_column_double(row, 1)) + 978307200;  // 2001 -> 1970
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&seconds));
    windows[kind] = std::max(windows[kind], std::string(text));
  }
  sqlite3_finalize(row);
  sqlite3_close(db);
}

// Whether a record missing after the kills is one a kill may have skipped for good.
bool skippable(const std::string& identity, const std::string& body,
               const SkippableWindows& windows) {
  if (identity.find(" heart-rate-") != std::string::npos) return true;
  const auto window = windows.find(identity.substr(0, identity.find(' ')));
  return window != windows.end() &&
         nlohmann::json::parse(body).value("timestamp", "") < window->second;
}

TEST(ReplayCrash, KilledAtAnyWriteAndRestartedEveryRecordIsThereOnce) {
  testing_support::TemporaryDirectory directory;
  const std::string exportPath = directory.file("export.xml");
  // 2024-03-29 00:00 in Berlin, four days across the change to summer time.
  testing_support::writeReplayTestExport(
      exportPath, NSDate::dateWithTimeIntervalSince1970(1711666800), 4, "Europe/Berlin");
  // The uninterrupted replay, in a process of its own like the killed ones, counts its writes:
  // kills are drawn from the first third of them, so most launches die, some during the app's
  // first launch and some while it lives its hours.
  const std::string reference = directory.file("reference.sqlite");
  ASSERT_EQ(runChild(reference, exportPath, 0), 0);
  long steps = 0;
  std::ifstream(reference + ".steps") >> steps;
  ASSERT_GT(steps, 3);

  const std::string database = directory.file("killed.sqlite");
  std::mt19937 random(20241124);
  int kills = 0;
  SkippableWindows windows;
  while (kills < kKills) {
    const char point =
        runChild(database, exportPath, 1 + static_cast<long>(random() % (steps / 3)));
    if (point == 0) break;
    ++kills;
    addFirstFetchWindows(database, windows);
  }
  EXPECT_EQ(runChild(database, exportPath, 0), 0);
  EXPECT_GE(kills, kKills / 4) << "the replay ended before enough kills";
  const auto stored = outboxRows(database);
  for (const auto& [identity, copies] : stored.copies) {
    EXPECT_EQ(copies, 1u) << identity << " is in the outbox " << copies << " times";
  }
  const auto uninterrupted = outboxRows(reference);
  std::size_t skipped = 0;
  for (const auto& [identity, body] : uninterrupted.bodies) {
    const auto found = stored.bodies.find(identity);
    if (found == stored.bodies.end() && skippable(identity, body, windows)) {
      ++skipped;
      continue;
    }
    ASSERT_NE(found, stored.bodies.end()) << identity << " is missing";
    EXPECT_EQ(found->second, body) << identity;
  }
  EXPECT_LT(skipped * 4, uninterrupted.bodies.size()) << "the kills skipped most records";
  // Minute step counts carry no identifier: a window may be sent again, never with other values.
  for (const auto& [minute, value] : uninterrupted.minutes) {
    const auto found = stored.minutes.find(minute);
    ASSERT_NE(found, stored.minutes.end()) << "the minute " << minute << " is missing";
    EXPECT_EQ(found->second, value) << minute;
  }
  EXPECT_TRUE(stored.conflictingMinutes.empty()) << *stored.conflictingMinutes.begin();
}

}  // namespace
