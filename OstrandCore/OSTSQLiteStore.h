#pragma once

// OSTSQLiteStore: the session's store in one SQLite database file per user session.
//
// The database runs in WAL mode with full synchronisation, so a committed transaction survives a
// crash of the process (and of the machine); every operation is one transaction, begun
// IMMEDIATE so that waiting for another writer happens up front, for at most the busy timeout.
// The one exception: a save that only moves anchors, query dates or timestamps (the same types
// subscribed, no anchor dropped) does not wait for the disk. It survives a crash of the process;
// after a power cut the WAL comes back as a prefix of its commits, so such a save is lost only
// together with everything committed after it, and an anchor never ends up ahead of the records
// committed before it.
// Statements are prepared once and reused. A save writes only the rows of the session data that
// differ from what the store last read or wrote, in one small transaction, and nothing when none
// does; so a database has this one writer while it is open. The schema's version is PRAGMA
// user_version (now 1); a database of a newer version, or one that holds other tables, is refused
// at open() and never written to.
//
// Not thread-safe (see OSTStore); the connection belongs to the object and is closed with it.
//
//   OSTSQLiteStore store("/path/user-42.sqlite");
//   if (auto error = store.open()) OSTLog::log(0, "%@", error->localizedDescription());

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "OstrandCore/OSTStore.h"

struct sqlite3;
struct sqlite3_stmt;

class OSTSQLiteStore final : public OSTStore {
 public:
  static constexpr int kSchemaVersion = 1;

  // `path` ":memory:" keeps the database in memory. `busyTimeout` is how long an operation waits
  // for another connection's lock before it fails with "database is locked".
  explicit OSTSQLiteStore(std::string path,
                          std::chrono::milliseconds busyTimeout = std::chrono::seconds(5));
  ~OSTSQLiteStore() override;
  OSTSQLiteStore(const OSTSQLiteStore&) = delete;
  OSTSQLiteStore& operator=(const OSTSQLiteStore&) = delete;

  std::string path() const override { return path_; }
  [[nodiscard]] OSTStatus open() override;
  [[nodiscard]] OSTResult<OSTStoredSessionData> loadSessionData() override;
  [[nodiscard]] OSTStatus saveSessionData(OSTStoredSessionData data) override;
  [[nodiscard]] OSTStatus addToOutbox(const std::vector<OSTOutboxRow>& rows) override;
  [[nodiscard]] OSTResult<std::vector<OSTOutboxRow>> outbox(std::size_t limit) override;
  [[nodiscard]] OSTStatus removeFromOutbox(const std::vector<std::int64_t>& identifiers) override;

 private:
  class Statement;

  // The cached statement for `sql` (a string literal), reset and with its bindings cleared.
  Statement statement(const char* sql);
  bool execute(const char* sql);
  // Runs `sql` (a string literal) through its cached statement: for what runs at every operation.
  bool runCached(const char* sql);
  // Runs `body` in an IMMEDIATE transaction; on failure rolls back and returns the error
  // "cannot <action> the database at <path>: <SQLite's reason>". Its commit waits for the disk
  // unless `durable` is false.
  template <class Body>
  OSTStatus transaction(const char* action, Body body, bool durable = true);
  // Sets whether commits wait for the disk (synchronous FULL or NORMAL), when that changes.
  bool waitForDisk(bool wait);
  OSTStatus failure(OSTCoreErrorCode code, const std::string& action) const;
  void close();

  // Within a transaction: writes what differs between the database's contents `before` and
  // `after`; false when SQLite failed.
  using AnchorMap = decltype(OSTStoredSessionData::anchors);
  using QueryDateMap = decltype(OSTStoredSessionData::queryDates);
  bool writeAnchors(const AnchorMap& before, const AnchorMap& after);
  bool writeQueryDates(const QueryDateMap& before, const QueryDateMap& after);
  // Runs `sql`, a DELETE of the rows of one sample type (its one parameter).
  bool deleteRow(const char* sql, const std::string& type);
  // Within a transaction: adds one outbox row, updating an earlier version of it.
  bool addRow(const OSTOutboxRow& row);
  bool writeTimestamps(const OSTStoredSessionData& before, const OSTStoredSessionData& after,
                       bool all);

  std::string path_;
  std::chrono::milliseconds busyTimeout_;
  sqlite3* db_ = nullptr;
  bool waitsForDisk_ = true;  // what the connection's synchronous setting is now
  std::vector<std::pair<const char*, sqlite3_stmt*>> statements_;
  // The session data the database holds, as this store last read or wrote it; none before the
  // first read and after a failed write, when the next save writes everything.
  std::optional<OSTStoredSessionData> written_;
};
