// A process killed while it submits records must leave each batch whole or absent and the
// database intact, and the position it moves after each batch (as the engine moves its routine
// timestamp, without asking for a save) neither ahead of the records nor more than one batch
// behind them. The parent runs this test binary again as a child (posix_spawn, which
// sanitizers handle well), filtered to the child's test and told its role by the environment.
// The child reports through a pipe before each batch; the parent kills it with SIGKILL when a
// seeded, random number of reports has arrived, most often while the child is inside
// submitRecords().

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <random>
#include <string>

#include "Foundation/Platform/DispatchRuntime.h"
#include "OstrandCore/OSTSession.h"
#include "OstrandCore/OSTWeight.h"
#include "support/TemporaryDirectory.h"

extern char** environ;

namespace {

constexpr int kBatches = 40;
constexpr int kRecordsPerBatch = 50;
constexpr char kDatabaseVariable[] = "OST_CRASH_CHILD_DATABASE";
constexpr char kPipeVariable[] = "OST_CRASH_CHILD_PIPE";

// The child: submits numbered batches until killed, reporting before each one.
TEST(CrashChild, SubmitUntilKilled) {
  const char* database = std::getenv(kDatabaseVariable);
  const char* pipe = std::getenv(kPipeVariable);
  if (database == nullptr || pipe == nullptr) GTEST_SKIP() << "runs only as the crash test's child";
  const int fd = std::atoi(pipe);
  OSTSession session;
  ASSERT_EQ(session.startSession("crash", database), nullptr);
  for (int batch = 0; batch < kBatches; ++batch) {
    std::vector<std::shared_ptr<OSTRecord>> records;
    for (int r = 0; r < kRecordsPerBatch; ++r) {
      auto record = std::make_shared<OSTWeight>();
      record->setActivityID("b" + std::to_string(batch) + "-r" + std::to_string(r));
      record->setWeight(60.0 + r);
      records.push_back(record);
    }
    const char progress = 'x';
    ASSERT_EQ(write(fd, &progress, 1), 1);
    ASSERT_EQ(session.submitRecords(records), nullptr);
    session.sessionData()->setRoutineFetchTimestamp(
        NSDate::dateWithTimeIntervalSinceReferenceDate(batch));
    platform::DispatchRuntime::shared().drainMainQueue();  // the main queue's next turn
  }
  // Wait to be killed: the parent decides when the child ends.
  char ignored;
  (void)read(STDIN_FILENO, &ignored, 1);
}

std::string selfPath() {
  char buffer[4096];
  const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  return length > 0 ? std::string(buffer, static_cast<std::size_t>(length)) : std::string();
}

// Runs the child on `database` and kills it after `reports` progress reports.
void runAndKill(const std::string& database, int reports) {
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  int input[2];  // the child's stdin, never written: its final read blocks until the kill
  ASSERT_EQ(pipe(input), 0);
  const std::string self = selfPath();
  const std::string databaseSetting = std::string(kDatabaseVariable) + "=" + database;
  const std::string pipeSetting = std::string(kPipeVariable) + "=" + std::to_string(fds[1]);
  std::vector<std::string> environment = {databaseSetting, pipeSetting};
  for (char** entry = environ; *entry != nullptr; ++entry) environment.emplace_back(*entry);
  std::vector<char*> envp;
  for (auto& entry : environment) envp.push_back(entry.data());
  envp.push_back(nullptr);
  std::string filter = "--gtest_filter=CrashChild.SubmitUntilKilled";
  char* argv[] = {const_cast<char*>(self.c_str()), filter.data(), nullptr};

  // posix_spawn runs no code of ours between the fork and the exec, which keeps the
  // sanitizers' runtime out of a half-copied process.
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addclose(&actions, fds[0]);
  posix_spawn_file_actions_addclose(&actions, input[1]);
  pid_t child = 0;
  const int spawned = posix_spawn(&child, argv[0], &actions, nullptr, argv, envp.data());
  posix_spawn_file_actions_destroy(&actions);
  ASSERT_EQ(spawned, 0);
  close(fds[1]);
  close(input[0]);
  int seen = 0;
  char byte;
  while (seen < reports && read(fds[0], &byte, 1) == 1) ++seen;
  kill(child, SIGKILL);
  int status = 0;
  waitpid(child, &status, 0);
  close(fds[0]);
  close(input[1]);
  ASSERT_EQ(seen, reports) << "the child stopped early";
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
}

// Reads the database the way a fresh process would: integrity, then records per batch.
void expectWholeBatches(const std::string& path, int reports) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
  sqlite3_stmt* check = nullptr;
  ASSERT_EQ(sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &check, nullptr), SQLITE_OK);
  ASSERT_EQ(sqlite3_step(check), SQLITE_ROW);
  EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(check, 0)), "ok");
  sqlite3_finalize(check);

  std::map<int, int> perBatch;
  sqlite3_stmt* select = nullptr;
  ASSERT_EQ(sqlite3_prepare_v2(db, "SELECT activity_id FROM outbox", -1, &select, nullptr),
            SQLITE_OK);
  while (sqlite3_step(select) == SQLITE_ROW) {
    const std::string id = reinterpret_cast<const char*>(sqlite3_column_text(select, 0));
    ++perBatch[std::stoi(id.substr(1, id.find('-') - 1))];
  }
  sqlite3_finalize(select);
  // The batch whose position is stored; -1 for none.
  int position = -1;
  ASSERT_EQ(sqlite3_prepare_v2(
                db, "SELECT date FROM session_timestamp WHERE name = 'routineFetchTimestamp'", -1,
                &select, nullptr),
            SQLITE_OK);
  if (sqlite3_step(select) == SQLITE_ROW) position = sqlite3_column_int(select, 0);
  sqlite3_finalize(select);
  sqlite3_close(db);
  const int lastBatch = perBatch.empty() ? -1 : perBatch.rbegin()->first;
  EXPECT_LE(position, lastBatch) << "a position ahead of its records";
  EXPECT_GE(position, lastBatch - 1) << "more than the last move lost";
  // Batches before the last report seen were committed before it was sent. The child may get
  // further before SIGKILL lands, so later batches may be stored too, but only in order: the
  // stored batches are 0, 1, 2... with no gap, and each is whole.
  for (int batch = 0; batch < reports - 1; ++batch)
    EXPECT_EQ(perBatch[batch], kRecordsPerBatch) << batch;
  int expected = 0;
  for (const auto& [batch, count] : perBatch) {
    EXPECT_EQ(batch, expected++) << "batches stored out of order";
    EXPECT_EQ(count, kRecordsPerBatch) << "batch " << batch << " is partly stored";
  }
}

TEST(CrashTest, KilledDuringSubmissionLeavesWholeBatches) {
  if (std::getenv(kDatabaseVariable) != nullptr) GTEST_SKIP();
  std::mt19937 random(20240309);
  std::uniform_int_distribution<int> reportsBeforeKill(1, kBatches);
  for (int round = 0; round < 6; ++round) {
    testing_support::TemporaryDirectory directory;
    const std::string database = directory.file("crash.sqlite");
    const int reports = reportsBeforeKill(random);
    SCOPED_TRACE("round " + std::to_string(round) + ", killed after " + std::to_string(reports));
    runAndKill(database, reports);
    expectWholeBatches(database, reports);
    // And the session itself reopens it.
    OSTSession session;
    EXPECT_EQ(session.startSession("crash", database), nullptr);
  }
}

}  // namespace
