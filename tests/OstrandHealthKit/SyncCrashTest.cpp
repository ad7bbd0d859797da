// A sync process killed at any write must never lose a reading it has already moved past, never
// store a reading twice under a new identity, and never leave a damaged database.
//
// The parent runs this test binary again as a child (posix_spawn, as the core's crash test does),
// filtered to the child's test. The child plays a phone's life: HealthKit keeps its data across
// app launches (the child rebuilds it deterministically, same UUIDs and anchors, from a seeded
// timeline and a stage file), the app subscribes to weight, sleep, steps and running workouts
// and fetches after each stage of new data. Its session's store counts every outbox write and
// every session save, and at the operation the parent names (before or after the write) the
// child tells the parent where it is and raises SIGKILL itself: no timing is involved.
//
// After every kill the parent checks the database: the integrity check passes, and every sample a
// stored anchor covers has its record in the outbox. A first fetch (no anchor yet) stores its
// query date before it submits, so a kill in between skips that window for good: the test
// counts those samples apart and reports how often the kill points hit it. At the end, every
// sample's record is in the outbox or among those counted, each under its sample's UUID.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <string>

#include "HealthKit/HKAnchoredObjectQuery.h"
#include "HealthKit/HKCategorySample.h"
#include "HealthKit/HKCategoryValues.h"
#include "HealthKit/HKWorkout.h"
#include "HealthKit/internal/HKObjectAccess.h"
#include "OstrandCore/OSTSQLiteStore.h"
#include "OstrandCore/OSTSession.h"
#include "OstrandHealthKit/OSTCachedValue.h"
#include "OstrandHealthKit/OSTHealthKitManager.h"
#include "support/HealthKitFixture.h"
#include "support/TemporaryDirectory.h"

extern char** environ;

namespace {

using testing_support::HealthKitFixture;

constexpr char kDatabaseVariable[] = "OST_SYNC_CRASH_DATABASE";
constexpr char kKillAtVariable[] = "OST_SYNC_CRASH_KILL_AT";
constexpr char kPipeVariable[] = "OST_SYNC_CRASH_PIPE";
constexpr int kStages = 6;
constexpr std::uint32_t kWorldSeed = 20240309;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kRounds = 6;  // a child costs several times more under the sanitizers
#else
constexpr int kRounds = 12;
#endif
constexpr int kKillsPerRound = 12;
constexpr int kMinimumKills = 100;

// Where the child is when it kills itself; the parent tallies them.
enum KillPoint : char {
  kBeforeOutboxWrite = 'O',  // the batch is being handed to the outbox
  kAfterOutboxWrite = 'o',   // the batch is committed, its anchor not yet saved
  kBeforeSessionSave = 'S',  // a query date or an anchor is being saved
  kAfterSessionSave = 's',
};

// The session store of the child: forwards everything and raises SIGKILL at the named write.
class KillPointStore final : public OSTStore {
 public:
  KillPointStore(std::unique_ptr<OSTStore> store, long killAt, int pipe)
      : store_(std::move(store)), killAt_(killAt), pipe_(pipe) {}

  std::string path() const override { return store_->path(); }
  [[nodiscard]] OSTStatus open() override { return store_->open(); }
  [[nodiscard]] OSTResult<OSTStoredSessionData> loadSessionData() override {
    return store_->loadSessionData();
  }
  [[nodiscard]] OSTStatus saveSessionData(const OSTStoredSessionData& data) override {
    step(kBeforeSessionSave);
    auto status = store_->saveSessionData(data);
    step(kAfterSessionSave);
    return status;
  }
  [[nodiscard]] OSTStatus addToOutbox(const std::vector<OSTOutboxRow>& rows) override {
    step(kBeforeOutboxWrite);
    auto status = store_->addToOutbox(rows);
    step(kAfterOutboxWrite);
    return status;
  }
  [[nodiscard]] OSTResult<std::vector<OSTOutboxRow>> outbox(std::size_t limit) override {
    return store_->outbox(limit);
  }
  [[nodiscard]] OSTStatus removeFromOutbox(const std::vector<std::int64_t>& identifiers) override {
    return store_->removeFromOutbox(identifiers);
  }

 private:
  void step(KillPoint point) {
    if (++steps_ != killAt_) return;
    const char code = point;
    (void)write(pipe_, &code, 1);
    raise(SIGKILL);
  }

  std::unique_ptr<OSTStore> store_;
  long killAt_;
  int pipe_;
  long steps_ = 0;
};

// The seeded timeline, the same in every process: stage s holds samples ending within the hour
// after kStart + s hours, and is saved at kStart + (s + 1) hours.
struct Stage {
  NSDate savedAt;
  std::vector<std::shared_ptr<const HKSample>> samples;
};

class SyncCrashFixture : public HealthKitFixture {
 protected:
  static std::shared_ptr<const HKSampleType> type(const std::string& identifier) {
    return std::dynamic_pointer_cast<const HKSampleType>(
        HKObjectType::typeForIdentifier(identifier));
  }
  static std::vector<std::string> checkedTypes() {
    return {HKQuantityTypeIdentifierBodyMass, HKCategoryTypeIdentifierSleepAnalysis,
            HKWorkoutTypeIdentifier};
  }

  std::vector<Stage> world() const {
    std::mt19937 random(kWorldSeed);
    auto uuid = [&random] {
      NSUUID::Bytes bytes{};
      for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
      bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
      bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
      return NSUUID(bytes);
    };
    auto count = [&random](int most) { return static_cast<int>(random() % (most + 1)); };
    auto weightType =
        std::dynamic_pointer_cast<const HKQuantityType>(type(HKQuantityTypeIdentifierBodyMass));
    auto sleepType = std::dynamic_pointer_cast<const HKCategoryType>(
        type(HKCategoryTypeIdentifierSleepAnalysis));
    std::vector<Stage> stages;
    for (int s = 0; s < kStages; ++s) {
      Stage stage{at(60.0 * (s + 1)), {}};
      auto add = [&](std::shared_ptr<const HKSample> sample) {
        stage.samples.push_back(HKObjectAccess::copyWithUUID(*sample, uuid()));
      };
      // Sleep first appears in the second stage, so its first fetch finds nothing.
      const int weights = count(3), sleeps = s == 0 ? 0 : count(3), runs = count(1),
                steps = count(4);
      for (int i = 0; i < weights; ++i) {
        const double minute = 60.0 * s + 2 + i;
        add(quantitySample(weightType, 70000 + count(5000), at(minute), at(minute)));
      }
      for (int i = 0; i < sleeps; ++i) {
        const double minute = 60.0 * s + 10 + 5 * i;
        add(HKCategorySample::categorySampleWithType(
            sleepType, HKCategoryValueSleepAnalysisAsleepCore, at(minute), at(minute + 4)));
      }
      for (int i = 0; i < runs; ++i) {
        const double minute = 60.0 * s + 30;
        add(HKWorkout::workoutWithActivityType(HKWorkoutActivityTypeRunning, at(minute),
                                               at(minute + 20)));
      }
      for (int i = 0; i < steps; ++i) {
        const double minute = 60.0 * s + 40 + 3 * i;
        add(phoneSteps(10 + count(90), at(minute), at(minute + 2)));
      }
      stages.push_back(std::move(stage));
    }
    return stages;
  }

  void saveStage(const Stage& stage) {
    std::vector<std::shared_ptr<const HKObject>> objects(stage.samples.begin(),
                                                         stage.samples.end());
    if (objects.empty()) return;
    ASSERT_EQ(save(iPhone, objects), nullptr);
  }
};

int readStage(const std::string& path) {
  std::ifstream file(path);
  int stage = 0;
  file >> stage;
  return stage;
}

void writeStage(const std::string& path, int stage) {
  // Written whole and renamed into place, so a kill leaves the old or the new number.
  {
    std::ofstream file(path + ".new", std::ios::trunc);
    file << stage;
  }
  std::rename((path + ".new").c_str(), path.c_str());
}

// The child: one launch of the app on the database, killed at the named write or run to the end.
TEST_F(SyncCrashFixture, ChildSyncsUntilKilled) {
  const char* database = std::getenv(kDatabaseVariable);
  const char* killAt = std::getenv(kKillAtVariable);
  const char* pipe = std::getenv(kPipeVariable);
  if (database == nullptr || killAt == nullptr || pipe == nullptr) {
    GTEST_SKIP() << "runs only as the sync crash test's child";
  }
  const std::string stagePath = std::string(database) + ".stage";
  const auto stages = world();
  // HealthKit's own data survives the app: what earlier launches saw is saved again, as it was.
  const int reached = readStage(stagePath);
  for (int s = 0; s < reached; ++s) {
    clock().set(stages[s].savedAt);
    saveStage(stages[s]);
  }

  OSTResetCachedValuesForTesting();
  auto session = OSTSession::sharedInstance();
  ASSERT_EQ(session->startSession("user-1", std::make_unique<KillPointStore>(
                                                std::make_unique<OSTSQLiteStore>(database),
                                                std::atol(killAt), std::atoi(pipe))),
            nullptr);
  auto engine = std::make_shared<OSTHealthKitManager>(session);
  OSTSampleTypeArray types;
  for (const auto& identifier : checkedTypes()) types.push_back(type(identifier));
  types.push_back(type(HKQuantityTypeIdentifierStepCount));
  bool subscribed = false;
  engine->setSubscriptions(types, [&subscribed] { subscribed = true; });
  runUntilIdle();
  ASSERT_TRUE(subscribed);

  // The fetch the last launch may not have finished, then the stages still to come.
  if (reached > 0) {
    engine->fetchLatestData();
    runUntilIdle();
  }
  for (int s = reached; s < kStages; ++s) {
    clock().set(stages[s].savedAt);
    saveStage(stages[s]);
    writeStage(stagePath, s + 1);
    engine->fetchLatestData();
    runUntilIdle();
  }
  device->stopAllQueries();
  runUntilIdle();
  engine.reset();
  session->endSession();
  OSTResetCachedValuesForTesting();
}

std::string selfPath() {
  char buffer[4096];
  const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  return length > 0 ? std::string(buffer, static_cast<std::size_t>(length)) : std::string();
}

// Runs one child; the kill point it reported, or 0 when it ran to the end.
char runChild(const std::string& database, long killAt) {
  int fds[2];
  EXPECT_EQ(pipe(fds), 0);
  std::vector<std::string> environment = {
      std::string(kDatabaseVariable) + "=" + database,
      std::string(kKillAtVariable) + "=" + std::to_string(killAt),
      std::string(kPipeVariable) + "=" + std::to_string(fds[1])};
  for (char** entry = environ; *entry != nullptr; ++entry) environment.emplace_back(*entry);
  std::vector<char*> envp;
  for (auto& entry : environment) envp.push_back(entry.data());
  envp.push_back(nullptr);
  const std::string self = selfPath();
  std::string filter = "--gtest_filter=SyncCrashFixture.ChildSyncsUntilKilled";
  char* argv[] = {const_cast<char*>(self.c_str()), filter.data(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addclose(&actions, fds[0]);
  pid_t child = 0;
  const int spawned = posix_spawn(&child, argv[0], &actions, nullptr, argv, envp.data());
  posix_spawn_file_actions_destroy(&actions);
  EXPECT_EQ(spawned, 0);
  close(fds[1]);
  char point = 0;
  if (read(fds[0], &point, 1) != 1) point = 0;
  int status = 0;
  waitpid(child, &status, 0);
  close(fds[0]);
  if (point != 0) {
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "status " << status;
  } else {
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the child failed: " << status;
  }
  return point;
}

// What a fresh process finds in the database.
struct Stored {
  std::set<std::string> activityIDs;
  std::size_t outboxRows = 0;
  std::map<std::string, unsigned long> anchors;  // by sample type identifier
  std::map<std::string, double> queryDates;      // since the reference date
};

Stored readDatabase(const std::string& path) {
  Stored stored;
  sqlite3* db = nullptr;
  EXPECT_EQ(sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
  auto each = [db](const char* sql, const std::function<void(sqlite3_stmt*)>& row) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, sql, -1, &statement, nullptr) != SQLITE_OK) return;
    while (sqlite3_step(statement) == SQLITE_ROW) row(statement);
    sqlite3_finalize(statement);
  };
  auto text = [](sqlite3_stmt* statement, int column) {
    const auto* value = sqlite3_column_text(statement, column);
    return value == nullptr ? std::string() : std::string(reinterpret_cast<const char*>(value));
  };
  std::string integrity;
  each("PRAGMA integrity_check", [&](sqlite3_stmt* s) { integrity += text(s, 0); });
  EXPECT_EQ(integrity, "ok");
  each("SELECT activity_id FROM outbox", [&](sqlite3_stmt* s) {
    stored.activityIDs.insert(text(s, 0));
    ++stored.outboxRows;
  });
  each("SELECT sample_type, archive, number FROM anchor", [&](sqlite3_stmt* s) {
    const std::string archive = text(s, 1);
    stored.anchors[text(s, 0)] = archive.empty()
                                     ? static_cast<unsigned long>(sqlite3_column_int64(s, 2))
                                     : std::stoul(archive.substr(archive.find(':') + 1));
  });
  each("SELECT sample_type, date FROM query_date",
       [&](sqlite3_stmt* s) { stored.queryDates[text(s, 0)] = sqlite3_column_double(s, 1); });
  sqlite3_close(db);
  return stored;
}

class SyncCrashTest : public SyncCrashFixture {
 protected:
  // UUID strings of the samples of `identifier` a stored anchor covers: all of the full world's
  // samples but those an anchored query from it still returns.
  std::set<std::string> coveredBy(const std::string& identifier, unsigned long anchor) {
    std::set<std::string> all = samplesOf(identifier), after;
    auto query = std::make_shared<HKAnchoredObjectQuery>(
        type(identifier), nullptr, HKQueryAnchor::anchorFromValue(anchor), 0,
        [&after](auto, auto samples, auto, auto, auto) {
          for (const auto& sample : samples) after.insert(sample->UUID().UUIDString());
        });
    store->executeQuery(query);
    runUntilIdle();
    std::set<std::string> covered;
    for (const auto& id : all) {
      if (!after.contains(id)) covered.insert(id);
    }
    return covered;
  }
  std::set<std::string> samplesOf(const std::string& identifier) const {
    std::set<std::string> ids;
    for (const auto& stage : stages_) {
      for (const auto& sample : stage.samples) {
        if (sample->sampleType()->identifier() == identifier)
          ids.insert(sample->UUID().UUIDString());
      }
    }
    return ids;
  }

  std::vector<Stage> stages_;
};

TEST_F(SyncCrashTest, KilledAtEveryKindOfWriteTheSyncStillCompletes) {
  if (std::getenv(kDatabaseVariable) != nullptr) GTEST_SKIP();
  HKObjectTypeSet read;
  for (const auto& identifier : checkedTypes()) read.insert(type(identifier));
  authorize({}, read);
  stages_ = world();
  for (const auto& stage : stages_) {
    clock().set(stage.savedAt);
    saveStage(stage);
  }

  std::mt19937 random(7);
  std::map<char, int> killsAt;
  int kills = 0, launches = 0, windowsSkipped = 0;
  std::size_t samplesSkipped = 0, samplesChecked = 0;
  int round = 0;
  for (; round < kRounds || kills < kMinimumKills; ++round) {
    testing_support::TemporaryDirectory directory;
    const std::string database = directory.file("sync.sqlite");
    std::set<std::string> excused;  // lost to a first fetch's window, counted apart
    bool complete = false;
    for (int attempt = 0; !complete; ++attempt) {
      // A launch does a few dozen writes; the later ones of a round aim low, so each round ends
      // after about kKillsPerRound kills with a launch that gets through.
      const long killAt = attempt < kKillsPerRound
                              ? std::uniform_int_distribution<long>(1, 24)(random)
                              : std::numeric_limits<long>::max();
      SCOPED_TRACE("round " + std::to_string(round) + ", launch " + std::to_string(attempt) +
                   ", killed at write " + std::to_string(killAt));
      ++launches;
      const char point = runChild(database, killAt);
      if (point == 0) complete = true;
      if (point != 0) {
        ++kills;
        ++killsAt[point];
      }
      const Stored stored = readDatabase(database);
      EXPECT_EQ(stored.outboxRows, stored.activityIDs.size());
      const int reached = readStage(database + ".stage");
      for (const auto& identifier : checkedTypes()) {
        auto anchor = stored.anchors.find(identifier);
        auto queryDate = stored.queryDates.find(identifier);
        if (anchor == stored.anchors.end() && queryDate != stored.queryDates.end()) {
          // No anchor yet: samples that end before the stored query date and are not in the
          // outbox were skipped by a first fetch killed between its date and its records.
          std::size_t newlySkipped = 0;
          for (int s = 0; s < reached; ++s) {
            for (const auto& sample : stages_[s].samples) {
              const auto id = sample->UUID().UUIDString();
              if (sample->sampleType()->identifier() == identifier &&
                  sample->endDate().timeIntervalSinceReferenceDate() < queryDate->second &&
                  !stored.activityIDs.contains(id) && excused.insert(id).second) {
                ++newlySkipped;
              }
            }
          }
          if (newlySkipped > 0) ++windowsSkipped;
          samplesSkipped += newlySkipped;
        }
        if (anchor != stored.anchors.end()) {
          for (const auto& id : coveredBy(identifier, anchor->second)) {
            EXPECT_TRUE(stored.activityIDs.contains(id) || excused.contains(id))
                << identifier << " anchor " << anchor->second << " is ahead of sample " << id;
          }
        }
      }
      if (complete) {
        for (const auto& identifier : checkedTypes()) {
          for (const auto& id : samplesOf(identifier)) {
            ++samplesChecked;
            EXPECT_TRUE(stored.activityIDs.contains(id) || excused.contains(id))
                << identifier << " sample " << id << " never reached the outbox";
          }
        }
      }
      if (HasFailure()) return;
    }
  }
  std::cout << "[ sync crash ] " << kills << " kills over " << launches << " launches in " << round
            << " rounds: " << killsAt['O'] << " before an outbox write, " << killsAt['o']
            << " after one (before the anchor), " << killsAt['S'] << " before a session save, "
            << killsAt['s'] << " after one\n"
            << "[ sync crash ] a first fetch's window was skipped " << windowsSkipped << " times, "
            << samplesSkipped << " of " << samplesChecked
            << " sample readings lost that way (allowed: the query date is stored before the "
               "records); no other reading lost\n";
  EXPECT_GE(kills, 100);
}

}  // namespace
