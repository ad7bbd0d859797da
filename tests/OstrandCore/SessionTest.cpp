#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <thread>

#include "HealthKit/HKTypeIdentifiers.h"
#include "HealthKit/UIKit/UIApplication.h"
#include "OstrandCore/OSTBiometrics.h"
#include "OstrandCore/OSTFitness.h"
#include "OstrandCore/OSTSQLiteStore.h"
#include "OstrandCore/OSTSession.h"
#include "OstrandCore/OSTWeight.h"
#include "support/EnvironmentFixture.h"
#include "support/FaultInjectingStore.h"
#include "support/LogCapture.h"
#include "support/TemporaryDirectory.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing_support::FaultInjectingStore;
using testing_support::LogCapture;

std::shared_ptr<OSTRecord> weightRecord(const std::string& id, double kilograms) {
  auto record = std::make_shared<OSTWeight>();
  record->setActivityID(id);
  record->setWeight(kilograms);
  return record;
}

std::string fileContents(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Runs SQL on the file through a connection of its own, as another process would.
class RawDatabase {
 public:
  explicit RawDatabase(const std::string& path) { sqlite3_open(path.c_str(), &db_); }
  ~RawDatabase() { sqlite3_close(db_); }
  bool run(const std::string& sql) {
    return sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
  }
  // Moves whenever another connection commits a change to the file.
  std::int64_t dataVersion() {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db_, "PRAGMA data_version", -1, &statement, nullptr);
    sqlite3_step(statement);
    const std::int64_t version = sqlite3_column_int64(statement, 0);
    sqlite3_finalize(statement);
    return version;
  }

 private:
  sqlite3* db_ = nullptr;
};

class SessionTest : public testing_support::EnvironmentFixture {
 protected:
  std::shared_ptr<const HKSampleType> type(const std::string& identifier) {
    return std::dynamic_pointer_cast<const HKSampleType>(
        HKObjectType::typeForIdentifier(identifier));
  }
  std::vector<std::shared_ptr<OSTRecord>> outbox(OSTSession& session) {
    auto rows = session.outboxRecords(1000);
    EXPECT_TRUE(rows.ok());
    std::vector<std::shared_ptr<OSTRecord>> records;
    for (auto& row : rows.value) records.push_back(row.record);
    return records;
  }

  testing_support::TemporaryDirectory directory_;
  const std::string path_ = directory_.file("user.sqlite");
};

TEST_F(SessionTest, SessionDataAndOutboxSurviveARestart) {
  const auto steps = type(HKQuantityTypeIdentifierStepCount);
  const auto heartRate = type(HKQuantityTypeIdentifierHeartRate);
  const NSDate queryDate = kStart.dateByAddingTimeInterval(-3600.5);
  auto record = weightRecord("W1", 72.4);
  {
    OSTSession session;
    ASSERT_EQ(session.startSession("user-42", path_), nullptr);
    auto data = session.sessionData();
    EXPECT_THAT(data->anchors(), IsEmpty());
    EXPECT_THAT(data->queryDates(), IsEmpty());
    data->setAnchors({{steps, HKQueryAnchor::anchorFromValue(5)}, {heartRate, std::uint64_t{17}}});
    data->setQueryDates({{steps, queryDate}});
    data->setRoutineFetchTimestamp(kStart);
    ASSERT_EQ(session.saveSessionData(), nullptr);
    ASSERT_EQ(session.submitRecords({record}), nullptr);
    // Changed after the last save: not persisted.
    data->setIntradayStepsQueryTimestamp(kStart);
    session.endSession();
    EXPECT_EQ(session.user(), nullptr);
  }
  OSTSession session;
  ASSERT_EQ(session.startSession("user-42", path_), nullptr);
  EXPECT_EQ(session.user()->ostrandUserID(), "user-42");
  auto data = session.sessionData();
  auto anchors = data->anchors();
  ASSERT_EQ(anchors.size(), 2u);
  EXPECT_EQ(*std::get<std::shared_ptr<const HKQueryAnchor>>(anchors.at(steps)),
            *HKQueryAnchor::anchorFromValue(5));
  EXPECT_EQ(std::get<std::uint64_t>(anchors.at(heartRate)), 17u);  // the older form stays a number
  EXPECT_EQ(data->queryDates().at(steps), queryDate);
  EXPECT_EQ(data->routineFetchTimestamp(), kStart);
  EXPECT_EQ(data->routineQueryTimestamp(), std::nullopt);
  EXPECT_EQ(data->intradayStepsQueryTimestamp(), std::nullopt);
  auto records = outbox(session);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_TRUE(records[0]->isEqual(*record));
}

TEST_F(SessionTest, SavesWriteWhatChangedAndAnUnchangedSaveWritesNothing) {
  OSTStoredSessionData first;
  first.anchors = {{"steps", std::string("archived:5")}, {"sleep", std::uint64_t{9}}};
  first.queryDates = {{"steps", kStart}, {"sleep", kStart}};
  first.routineQueryTimestamp = kStart;
  OSTStoredSessionData second = first;
  second.anchors.erase("sleep");
  second.anchors["steps"] = std::uint64_t{6};
  second.anchors["weight"] = std::string("archived:1");
  second.queryDates.erase("steps");
  second.queryDates["sleep"] = kStart.dateByAddingTimeInterval(60);
  second.routineQueryTimestamp.reset();
  second.intradayStepsFetchTimestamp = kStart;

  {
    OSTSQLiteStore store(path_);
    ASSERT_EQ(store.open(), nullptr);
    ASSERT_EQ(store.saveSessionData(first), nullptr);
    RawDatabase observer(path_);
    const std::int64_t before = observer.dataVersion();
    ASSERT_EQ(store.saveSessionData(first), nullptr);
    EXPECT_EQ(observer.dataVersion(), before);
    ASSERT_EQ(store.saveSessionData(second), nullptr);
    EXPECT_NE(observer.dataVersion(), before);
  }
  OSTSQLiteStore reopened(path_);
  ASSERT_EQ(reopened.open(), nullptr);
  const auto loaded = reopened.loadSessionData();
  ASSERT_EQ(loaded.error, nullptr);
  EXPECT_EQ(loaded.value, second);
}

TEST_F(SessionTest, SameKindAndActivityIDUpdatesMemberByMemberAndUploadedRecordsAreRemoved) {
  OSTSession session;
  ASSERT_EQ(session.startSession("u", path_), nullptr);
  // A heart-rate day as its own day's fetch builds it, and the two partial views of it that later
  // fetches build: the resting rate alone, then a corrected walking average.
  const auto heartRateDay = [this](auto fill) {
    auto record = std::make_shared<OSTBiometrics>();
    record->setActivityID("heart-rate-u-watch-2024-3-9");
    record->setTimestamp(kStart);
    fill(*record);
    return record;
  };
  const auto fillWholeDay = [](OSTBiometrics& r) {
    r.setMinHeartRate(48.0);
    r.setMaxHeartRate(151.0);
    r.setAverageHeartRate(72.5);
    r.setExtraValue(101.0, "apple_walking_heartrate_average");
    r.setExtraValue("watch", "device");
  };
  auto fullDay = heartRateDay(fillWholeDay);
  auto restingOnly = heartRateDay([](OSTBiometrics& r) { r.setRestingHeartrate(55.0); });
  auto walkingOnly = heartRateDay(
      [](OSTBiometrics& r) { r.setExtraValue(99.0, "apple_walking_heartrate_average"); });
  auto sameIDOtherKind = std::make_shared<OSTFitness>();
  sameIDOtherKind->setActivityID("heart-rate-u-watch-2024-3-9");
  auto noID = std::make_shared<OSTWeight>();
  ASSERT_EQ(session.submitRecords({fullDay, sameIDOtherKind, noID, noID}), nullptr);
  auto first = session.outboxRecords(10);
  ASSERT_TRUE(first.ok());
  ASSERT_EQ(first.value.size(), 4u);
  // The later views arrive while the full day is being uploaded.
  ASSERT_EQ(session.submitRecords({restingOnly, walkingOnly}), nullptr);
  ASSERT_EQ(session.removeOutboxRecords({first.value[0].identifier, first.value[1].identifier}),
            nullptr);

  auto records = outbox(session);
  ASSERT_EQ(records.size(), 3u);  // the two without an identifier, and the updated day
  auto expected = heartRateDay([&](OSTBiometrics& r) {
    fillWholeDay(r);
    r.setRestingHeartrate(55.0);
    r.setExtraValue(99.0, "apple_walking_heartrate_average");
  });
  EXPECT_TRUE(records.back()->isEqual(*expected)) << records.back()->description();

  // A stored version this library cannot read is replaced by the newer one.
  RawDatabase(path_).run("UPDATE outbox SET body = '{' WHERE activity_id IS NOT NULL");
  ASSERT_EQ(session.submitRecords({restingOnly}), nullptr);
  records = outbox(session);
  ASSERT_EQ(records.size(), 3u);
  EXPECT_TRUE(records.back()->isEqual(*restingOnly));
}

TEST_F(SessionTest, ChangedSessionDataIsWrittenWithoutBeingAsked) {
  // What a new process would read from the file now.
  const auto stored = [this] {
    OSTSQLiteStore store(path_);
    EXPECT_EQ(store.open(), nullptr);
    return store.loadSessionData().value.routineFetchTimestamp;
  };
  const auto minute = [](int n) { return kStart.dateByAddingTimeInterval(60.0 * n); };
  const auto app = UIApplication::sharedApplication();
  OSTSession session;
  ASSERT_EQ(session.startSession("u", path_), nullptr);
  auto data = session.sessionData();

  // At the main queue's next turn, once for both changes, under a background task until then.
  data->setRoutineFetchTimestamp(minute(1));
  data->setRoutineFetchTimestamp(minute(2));
  EXPECT_EQ(stored(), std::nullopt);
  EXPECT_EQ(app->openBackgroundTaskCount(), 1u);
  runUntilIdle();
  EXPECT_EQ(stored(), minute(2));
  EXPECT_EQ(app->openBackgroundTaskCount(), 0u);

  // With the next outbox commit, and when the application enters the background.
  data->setRoutineFetchTimestamp(minute(3));
  ASSERT_EQ(session.submitRecords({weightRecord("A", 70)}), nullptr);
  EXPECT_EQ(stored(), minute(3));
  data->setRoutineFetchTimestamp(minute(4));
  app->setApplicationState(UIApplicationStateBackground);
  EXPECT_EQ(stored(), minute(4));

  // Not when the session ends first, as a killed process would not: the queued turn does nothing.
  data->setRoutineFetchTimestamp(minute(5));
  session.endSession();
  EXPECT_EQ(app->openBackgroundTaskCount(), 0u);
  data->setRoutineFetchTimestamp(minute(6));
  runUntilIdle();
  EXPECT_EQ(stored(), minute(4));
}

TEST_F(SessionTest, SubmissionsFromSeveralThreadsAreAllStoredOnce) {
  OSTSession session;
  ASSERT_EQ(session.startSession("u", path_), nullptr);
  constexpr int kThreads = 4, kBatches = 20, kPerBatch = 5;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&session, t] {
      for (int b = 0; b < kBatches; ++b) {
        std::vector<std::shared_ptr<OSTRecord>> batch;
        // Every thread also resubmits the shared identifiers "shared-0".."shared-4".
        for (int r = 0; r < kPerBatch; ++r) {
          batch.push_back(
              weightRecord("t" + std::to_string(t) + "-" + std::to_string(b * kPerBatch + r), r));
        }
        batch.push_back(weightRecord("shared-" + std::to_string(b % 5), t));
        EXPECT_EQ(session.submitRecords(batch), nullptr);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  std::set<std::string> ids;
  for (const auto& record : outbox(session)) ids.insert(*record->activityID());
  EXPECT_EQ(ids.size(), static_cast<std::size_t>(kThreads * kBatches * kPerBatch + 5));
  EXPECT_EQ(outbox(session).size(), ids.size());
}

TEST_F(SessionTest, UnreadableDatabasesAreReportedAndLeftUntouched) {
  struct Case {
    std::string name;
    std::function<void(const std::string&)> prepare;
    std::string reason;
  };
  const Case cases[] = {
      {"corrupt", [](const std::string& path) { std::ofstream(path) << std::string(4096, 'x'); },
       "file is not a database"},
      {"newer",
       [](const std::string& path) {
         RawDatabase db(path);
         db.run("CREATE TABLE outbox(id); PRAGMA user_version = 7");
       },
       "its schema version 7 is newer than this library's 1; it is left as it is"},
      {"foreign",
       [](const std::string& path) { RawDatabase(path).run("CREATE TABLE notes(text)"); },
       "it holds tables of another program; it is left as it is"},
      {"no-such-directory/user", [](const std::string&) {}, "unable to open database file"},
  };
  for (const Case& c : cases) {
    const std::string path = directory_.file(c.name + ".sqlite");
    c.prepare(path);
    const std::string before = fileContents(path);
    LogCapture log;
    OSTSession session;
    OSTStatus error = session.startSession("u", path);
    const std::string message = "cannot open the database at " + path + ": " + c.reason;
    ASSERT_NE(error, nullptr) << c.name;
    EXPECT_EQ(error->code(), OSTCoreErrorStorageUnavailable);
    EXPECT_EQ(error->localizedDescription(), message);
    EXPECT_THAT(log.lines(), ElementsAre("OSTSession: " + message));
    // The session runs in memory: it works, and says that nothing reached the disk.
    OSTStatus submitted = session.submitRecords({weightRecord("A", 70)});
    ASSERT_NE(submitted, nullptr);
    EXPECT_EQ(submitted->localizedDescription(), "records stored in memory only: " + message);
    EXPECT_EQ(outbox(session).size(), 1u);
    EXPECT_NE(session.saveSessionData(), nullptr);
    session.endSession();
    EXPECT_EQ(fileContents(path), before) << c.name;
  }
  EXPECT_FALSE(std::filesystem::exists(directory_.file("no-such-directory")));
}

TEST_F(SessionTest, LockedDatabaseFailsTheSubmissionWhichIsWrittenLater) {
  OSTSession session;
  ASSERT_EQ(session.startSession(
                "u", std::make_unique<OSTSQLiteStore>(path_, std::chrono::milliseconds(0))),
            nullptr);
  RawDatabase other(path_);
  ASSERT_TRUE(other.run("BEGIN IMMEDIATE"));
  LogCapture log;
  OSTStatus error = session.submitRecords({weightRecord("A", 70)});
  ASSERT_NE(error, nullptr);
  const std::string message =
      "cannot add records to the outbox of the database at " + path_ + ": database is locked";
  EXPECT_EQ(error->localizedDescription(), message);
  EXPECT_THAT(log.lines(), ElementsAre("OSTSession: " + message));
  ASSERT_TRUE(other.run("ROLLBACK"));
  ASSERT_EQ(session.submitRecords({weightRecord("B", 80)}), nullptr);
  EXPECT_EQ(outbox(session).size(), 2u);

  // A database locked by a writer in rollback-journal mode cannot even be read at open.
  const std::string busy = directory_.file("busy.sqlite");
  RawDatabase holder(busy);
  ASSERT_TRUE(holder.run("CREATE TABLE t(x); BEGIN EXCLUSIVE; INSERT INTO t VALUES (1)"));
  OSTSession second;
  OSTStatus openError = second.startSession(
      "u", std::make_unique<OSTSQLiteStore>(busy, std::chrono::milliseconds(0)));
  ASSERT_NE(openError, nullptr);
  EXPECT_EQ(openError->localizedDescription(),
            "cannot open the database at " + busy + ": database is locked");
}

TEST_F(SessionTest, InjectedFaultsAreReportedAndNothingIsLost) {
  auto faults = std::make_shared<FaultInjectingStore::Faults>();
  OSTSession session;
  ASSERT_EQ(session.startSession("u", std::make_unique<FaultInjectingStore>(
                                          std::make_unique<OSTSQLiteStore>(path_), faults)),
            nullptr);
  LogCapture log;
  faults->failSave = 1;
  session.sessionData()->setRoutineQueryTimestamp(kStart);
  OSTStatus saved = session.saveSessionData();
  ASSERT_NE(saved, nullptr);
  EXPECT_EQ(saved->localizedDescription(),
            FaultInjectingStore::message("save session data in", path_));
  // The change stays unwritten until the first outbox commit that succeeds (below).

  faults->failAddToOutbox = 2;
  EXPECT_NE(session.submitRecords({weightRecord("A", 70)}), nullptr);
  EXPECT_NE(session.submitRecords({weightRecord("A", 71), weightRecord("B", 1)}), nullptr);
  ASSERT_EQ(session.submitRecords({}), nullptr);  // the kept records are written now
  auto records = outbox(session);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_TRUE(records[0]->isEqual(*weightRecord("A", 71)));  // the later version won
  EXPECT_EQ(log.lines().size(), 3u);

  // A plain record has no kind: the whole batch is refused.
  OSTStatus refused = session.submitRecords({weightRecord("C", 1), std::make_shared<OSTRecord>()});
  ASSERT_NE(refused, nullptr);
  EXPECT_EQ(refused->code(), OSTCoreErrorInvalidRecord);
  EXPECT_EQ(outbox(session).size(), 2u);

  // While submitted records cannot be written, neither is a position moved after them; records
  // still unwritten when the session ends are lost, and the log says so and why.
  faults->failAddToOutbox = 3;
  EXPECT_NE(session.submitRecords({weightRecord("D", 1)}), nullptr);
  session.sessionData()->setRoutineFetchTimestamp(kStart);
  EXPECT_NE(session.saveSessionData(), nullptr);
  session.endSession();
  EXPECT_EQ(log.lines().back(),
            "OSTSession: 1 submitted records were never stored: " +
                FaultInjectingStore::message("add records to the outbox of", path_));

  OSTSession reopened;
  ASSERT_EQ(reopened.startSession("u", path_), nullptr);
  EXPECT_EQ(reopened.sessionData()->routineQueryTimestamp(), kStart);
  EXPECT_EQ(reopened.sessionData()->routineFetchTimestamp(), std::nullopt);
  EXPECT_EQ(outbox(reopened).size(), 2u);
}

TEST_F(SessionTest, EntriesThisVersionCannotReadAreKept) {
  {
    OSTSession session;
    ASSERT_EQ(session.startSession("u", path_), nullptr);
  }
  RawDatabase(path_).run(
      "INSERT INTO anchor VALUES ('HKQuantityTypeIdentifierFromTheFuture', NULL, 9);"
      "INSERT INTO anchor VALUES ('HKQuantityTypeIdentifierStepCount', 'not an archive', NULL)");
  LogCapture log;
  OSTSession session;
  ASSERT_EQ(session.startSession("u", path_), nullptr);
  EXPECT_THAT(session.sessionData()->anchors(), IsEmpty());
  EXPECT_EQ(log.lines().size(), 2u);
  ASSERT_EQ(session.saveSessionData(), nullptr);
  OSTSQLiteStore store(path_);
  ASSERT_EQ(store.open(), nullptr);
  auto stored = store.loadSessionData();
  ASSERT_TRUE(stored.ok());
  EXPECT_EQ(stored.value.anchors.size(), 2u);
}

TEST_F(SessionTest, WithoutASessionNothingIsStored) {
  LogCapture log;
  OSTSession session;
  EXPECT_NE(session.sessionData(), nullptr);
  OSTStatus error = session.submitRecords({weightRecord("A", 1)});
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), OSTCoreErrorNoSession);
}

}  // namespace
