#include "OstrandCore/OSTSQLiteStore.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <optional>

#include "OstrandCore/OSTRecordCoder.h"

// A cached prepared statement in use: binds by position (from 1), steps, reads columns (from
// 0). Resets itself when it goes out of scope so it holds no read lock afterwards.
class OSTSQLiteStore::Statement {
 public:
  explicit Statement(sqlite3_stmt* statement) : statement_(statement) {}
  ~Statement() {
    if (statement_ != nullptr) {
      sqlite3_reset(statement_);
      sqlite3_clear_bindings(statement_);
    }
  }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  bool valid() const { return statement_ != nullptr; }
  void bind(int index, const std::string& text) {
    sqlite3_bind_text(statement_, index, text.data(), static_cast<int>(text.size()),
                      SQLITE_TRANSIENT);
  }
  // Without a copy: `text` must stay alive and unchanged until the statement is reset.
  void bindUncopied(int index, std::string_view text) {
    sqlite3_bind_text(statement_, index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
  }
  void bind(int index, std::int64_t value) { sqlite3_bind_int64(statement_, index, value); }
  void bind(int index, double value) { sqlite3_bind_double(statement_, index, value); }
  void bindNull(int index) { sqlite3_bind_null(statement_, index); }
  void bind(int index, const std::optional<NSDate>& date) {
    if (date) {
      bind(index, date->timeIntervalSinceReferenceDate());
    } else {
      bindNull(index);
    }
  }
  void bind(int index, const std::optional<std::string>& text) {
    if (text) {
      bind(index, *text);
    } else {
      bindNull(index);
    }
  }

  // SQLITE_ROW, SQLITE_DONE or an error code.
  int step() { return sqlite3_step(statement_); }
  // Steps a statement that returns no rows; true when it completed.
  bool run() { return valid() && step() == SQLITE_DONE; }

  bool isNull(int column) { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }
  std::int64_t integer(int column) { return sqlite3_column_int64(statement_, column); }
  double real(int column) { return sqlite3_column_double(statement_, column); }
  std::string text(int column) {
    const auto* data = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    return data == nullptr
               ? std::string()
               : std::string(data,
                             static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)));
  }

 private:
  sqlite3_stmt* statement_;
};

namespace {

constexpr const char* kSchema[] = {
    "CREATE TABLE session_timestamp(name TEXT PRIMARY KEY NOT NULL, date REAL)",
    "CREATE TABLE anchor(sample_type TEXT PRIMARY KEY NOT NULL, archive TEXT, number INTEGER,"
    " CHECK ((archive IS NULL) <> (number IS NULL)))",
    "CREATE TABLE query_date(sample_type TEXT PRIMARY KEY NOT NULL, date REAL NOT NULL)",
    "CREATE TABLE outbox(id INTEGER PRIMARY KEY AUTOINCREMENT, kind INTEGER NOT NULL,"
    " activity_id TEXT, body TEXT NOT NULL, UNIQUE(kind, activity_id))",
    "PRAGMA user_version = 1",
};

constexpr const char* kTimestampNames[] = {
    "routineQueryTimestamp",
    "routineFetchTimestamp",
    "intradayStepsQueryTimestamp",
    "intradayStepsFetchTimestamp",
};

// The timestamp named kTimestampNames[index], of stored data const or not.
template <class Data>
auto* timestampField(Data& data, std::size_t index) {
  decltype(&data.routineQueryTimestamp) fields[] = {
      &data.routineQueryTimestamp, &data.routineFetchTimestamp, &data.intradayStepsQueryTimestamp,
      &data.intradayStepsFetchTimestamp};
  return fields[index];
}

}  // namespace

OSTSQLiteStore::OSTSQLiteStore(std::string path, std::chrono::milliseconds busyTimeout)
    : path_(std::move(path)), busyTimeout_(busyTimeout) {}

OSTSQLiteStore::~OSTSQLiteStore() { close(); }

void OSTSQLiteStore::close() {
  for (auto& [sql, statement] : statements_) sqlite3_finalize(statement);
  statements_.clear();
  if (db_ != nullptr) sqlite3_close(db_);
  db_ = nullptr;
}

OSTStatus OSTSQLiteStore::failure(OSTCoreErrorCode code, const std::string& action) const {
  const char* reason = db_ != nullptr ? sqlite3_errmsg(db_) : "out of memory";
  return OSTCoreError(code, "cannot " + action + " the database at " + path_ + ": " + reason);
}

OSTSQLiteStore::Statement OSTSQLiteStore::statement(const char* sql) {
  for (auto& [cached, prepared] : statements_) {
    if (cached == sql) return Statement(prepared);
  }
  sqlite3_stmt* prepared = nullptr;
  if (sqlite3_prepare_v3(db_, sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr) !=
      SQLITE_OK) {
    return Statement(nullptr);
  }
  statements_.emplace_back(sql, prepared);
  return Statement(prepared);
}

bool OSTSQLiteStore::execute(const char* sql) {
  return sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool OSTSQLiteStore::runCached(const char* sql) { return statement(sql).run(); }

bool OSTSQLiteStore::waitForDisk(bool wait) {
  if (wait == waitsForDisk_) return true;
  // The setting takes effect when the PRAGMA is compiled, so it is not a cached statement.
  if (!execute(wait ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL")) return false;
  waitsForDisk_ = wait;
  return true;
}

template <class Body>
OSTStatus OSTSQLiteStore::transaction(const char* action, Body body, bool durable) {
  if (db_ == nullptr) {
    return OSTCoreError(
        OSTCoreErrorStorageFailed,
        std::string("cannot ") + action + " the database at " + path_ + ": it is not open");
  }
  // Not waiting is only a saving: when the switch to it fails, the commit waits as before.
  if ((!waitForDisk(durable) && durable) || !runCached("BEGIN IMMEDIATE")) {
    return failure(OSTCoreErrorStorageFailed, action);
  }
  if (!body() || !runCached("COMMIT")) {
    // The reason is read before the rollback replaces it.
    OSTStatus error = failure(OSTCoreErrorStorageFailed, action);
    runCached("ROLLBACK");
    return error;
  }
  return nullptr;
}

OSTStatus OSTSQLiteStore::open() {
  close();
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;
  if (sqlite3_open_v2(path_.c_str(), &db_, flags, nullptr) != SQLITE_OK) {
    OSTStatus error = failure(OSTCoreErrorStorageUnavailable, "open");
    close();
    return error;
  }
  sqlite3_extended_result_codes(db_, 1);
  sqlite3_busy_timeout(db_, static_cast<int>(busyTimeout_.count()));

  // Reading the version is the first access to the file: a file that is not a database fails
  // here, before anything is written to it.
  int version = 0;
  int tables = 0;
  bool readable = false;
  {
    // Statements are reset when they leave this scope, before the connection may be closed.
    Statement read = statement("PRAGMA user_version");
    if (read.valid() && read.step() == SQLITE_ROW) {
      version = static_cast<int>(read.integer(0));
      Statement count = statement("SELECT count(*) FROM sqlite_master");
      if (count.valid() && count.step() == SQLITE_ROW) {
        tables = static_cast<int>(count.integer(0));
        readable = true;
      }
    }
  }
  if (!readable) {
    OSTStatus error = failure(OSTCoreErrorStorageUnavailable, "open");
    close();
    return error;
  }
  if (version > kSchemaVersion) {
    close();
    return OSTCoreError(OSTCoreErrorStorageUnavailable,
                        "cannot open the database at " + path_ + ": its schema version " +
                            std::to_string(version) + " is newer than this library's " +
                            std::to_string(kSchemaVersion) + "; it is left as it is");
  }
  if (version == 0 && tables > 0) {
    close();
    return OSTCoreError(OSTCoreErrorStorageUnavailable,
                        "cannot open the database at " + path_ +
                            ": it holds tables of another program; it is left as it is");
  }

  bool wal = false;
  {
    Statement journal = statement("PRAGMA journal_mode = WAL");
    wal = journal.valid() && journal.step() == SQLITE_ROW &&
          (journal.text(0) == "wal" || path_ == ":memory:");
  }
  if (!wal || !execute("PRAGMA synchronous = FULL")) {
    OSTStatus error = failure(OSTCoreErrorStorageUnavailable, "open");
    close();
    return error;
  }
  waitsForDisk_ = true;
  if (version == 0) {
    OSTStatus error = transaction("create the tables of", [this] {
      for (const char* sql : kSchema) {
        if (!execute(sql)) return false;
      }
      return true;
    });
    if (error) {
      close();
      return OSTCoreError(OSTCoreErrorStorageUnavailable, error->localizedDescription());
    }
  }
  return nullptr;
}

OSTResult<OSTStoredSessionData> OSTSQLiteStore::loadSessionData() {
  OSTStoredSessionData data;
  OSTStatus error = transaction("read session data from", [&] {
    Statement anchors = statement("SELECT sample_type, archive, number FROM anchor");
    if (!anchors.valid()) return false;
    int step;
    while ((step = anchors.step()) == SQLITE_ROW) {
      if (anchors.isNull(1)) {
        data.anchors[anchors.text(0)] = static_cast<std::uint64_t>(anchors.integer(2));
      } else {
        data.anchors[anchors.text(0)] = anchors.text(1);
      }
    }
    if (step != SQLITE_DONE) return false;
    Statement dates = statement("SELECT sample_type, date FROM query_date");
    if (!dates.valid()) return false;
    while ((step = dates.step()) == SQLITE_ROW) {
      data.queryDates[dates.text(0)] =
          NSDate::dateWithTimeIntervalSinceReferenceDate(dates.real(1));
    }
    if (step != SQLITE_DONE) return false;
    Statement timestamps = statement("SELECT name, date FROM session_timestamp");
    if (!timestamps.valid()) return false;
    while ((step = timestamps.step()) == SQLITE_ROW) {
      const std::string name = timestamps.text(0);
      for (std::size_t i = 0; i < std::size(kTimestampNames); ++i) {
        if (name == kTimestampNames[i] && !timestamps.isNull(1)) {
          *timestampField(data, i) =
              NSDate::dateWithTimeIntervalSinceReferenceDate(timestamps.real(1));
        }
      }
    }
    return step == SQLITE_DONE;
  });
  if (error) return {{}, error};
  written_ = data;
  return {std::move(data), nullptr};
}

namespace {

// Calls `write(key, value)` for each entry of `after` that `before` lacks or holds otherwise and
// `erase(key)` for each key of `before` that `after` lacks; stops at the first that fails.
template <class Map, class Write, class Erase>
bool forEachChange(const Map& before, const Map& after, Write write, Erase erase) {
  // Both are ordered by key: one walk through the two finds every change.
  auto old = before.begin();
  for (const auto& [key, value] : after) {
    for (; old != before.end() && old->first < key; ++old) {
      if (!erase(old->first)) return false;
    }
    const bool present = old != before.end() && old->first == key;
    const bool same = present && old->second == value;
    if (present) ++old;
    if (!same && !write(key, value)) return false;
  }
  for (; old != before.end(); ++old) {
    if (!erase(old->first)) return false;
  }
  return true;
}

// Whether `after` only moves bookkeeping that `before` already holds: the same types have query
// dates (nothing subscribed or unsubscribed) and no anchor is dropped; anchors, query dates and
// timestamps may change and anchors be added.
bool onlyMovesBookkeeping(const OSTStoredSessionData& before, const OSTStoredSessionData& after) {
  const auto sameKey = [](const auto& a, const auto& b) { return a.first == b.first; };
  if (!std::equal(before.queryDates.begin(), before.queryDates.end(), after.queryDates.begin(),
                  after.queryDates.end(), sameKey)) {
    return false;
  }
  return std::all_of(before.anchors.begin(), before.anchors.end(),
                     [&](const auto& anchor) { return after.anchors.contains(anchor.first); });
}

}  // namespace

OSTStatus OSTSQLiteStore::saveSessionData(OSTStoredSessionData data) {
  // Only what differs from the database's contents is written; they are known once this store
  // has read or written them, otherwise everything is.
  if (written_ && *written_ == data) return nullptr;
  static const OSTStoredSessionData kNothing;
  const OSTStoredSessionData& before = written_ ? *written_ : kNothing;
  const bool whole = !written_;
  // A save that only moves anchors, query dates or timestamps forward does not wait for the
  // disk: it can only be lost together with every later commit, so after a power cut an anchor
  // is never ahead of the records it covers, and the next fetch reads again what it lost. What
  // is subscribed (and ending a session) waits for the disk, like every outbox commit.
  const bool durable = whole || !onlyMovesBookkeeping(before, data);
  OSTStatus error = transaction(
      "save session data in",
      [&] {
        if (whole && (!statement("DELETE FROM anchor").run() ||
                      !statement("DELETE FROM query_date").run())) {
          return false;
        }
        return writeAnchors(before.anchors, data.anchors) &&
               writeQueryDates(before.queryDates, data.queryDates) &&
               writeTimestamps(before, data, whole);
      },
      durable);
  if (error) {
    written_.reset();
  } else {
    written_ = std::move(data);
  }
  return error;
}

bool OSTSQLiteStore::writeAnchors(const AnchorMap& before, const AnchorMap& after) {
  return forEachChange(
      before, after,
      [this](const std::string& type, const AnchorMap::mapped_type& anchor) {
        Statement upsert = statement(
            "INSERT OR REPLACE INTO anchor(sample_type, archive, number) VALUES (?, ?, ?)");
        if (!upsert.valid()) return false;
        upsert.bind(1, type);
        if (const auto* archive = std::get_if<std::string>(&anchor)) {
          upsert.bind(2, *archive);
          upsert.bindNull(3);
        } else {
          upsert.bindNull(2);
          // Stored bit for bit: numbers above the signed range come back unchanged.
          upsert.bind(3, static_cast<std::int64_t>(std::get<std::uint64_t>(anchor)));
        }
        return upsert.run();
      },
      [this](const std::string& type) {
        return deleteRow("DELETE FROM anchor WHERE sample_type = ?", type);
      });
}

bool OSTSQLiteStore::writeQueryDates(const QueryDateMap& before, const QueryDateMap& after) {
  return forEachChange(
      before, after,
      [this](const std::string& type, const NSDate& date) {
        Statement upsert =
            statement("INSERT OR REPLACE INTO query_date(sample_type, date) VALUES (?, ?)");
        if (!upsert.valid()) return false;
        upsert.bind(1, type);
        upsert.bind(2, date.timeIntervalSinceReferenceDate());
        return upsert.run();
      },
      [this](const std::string& type) {
        return deleteRow("DELETE FROM query_date WHERE sample_type = ?", type);
      });
}

bool OSTSQLiteStore::deleteRow(const char* sql, const std::string& type) {
  Statement erase = statement(sql);
  if (!erase.valid()) return false;
  erase.bind(1, type);
  return erase.run();
}

bool OSTSQLiteStore::writeTimestamps(const OSTStoredSessionData& before,
                                     const OSTStoredSessionData& after, bool all) {
  for (std::size_t i = 0; i < std::size(kTimestampNames); ++i) {
    const auto& value = *timestampField(after, i);
    if (!all && *timestampField(before, i) == value) continue;
    Statement upsert =
        statement("INSERT OR REPLACE INTO session_timestamp(name, date) VALUES (?, ?)");
    if (!upsert.valid()) return false;
    upsert.bind(1, std::string(kTimestampNames[i]));
    upsert.bind(2, value);
    if (!upsert.run()) return false;
  }
  return true;
}

OSTStatus OSTSQLiteStore::addToOutbox(const std::vector<OSTOutboxRow>& rows) {
  return transaction("add records to the outbox of", [&] {
    return std::all_of(rows.begin(), rows.end(), [this](const auto& row) { return addRow(row); });
  });
}

bool OSTSQLiteStore::addRow(const OSTOutboxRow& row) {
  {
    // Most rows have no earlier version: one statement, and no JSON is read.
    Statement insert = statement(
        "INSERT INTO outbox(kind, activity_id, body) VALUES (?, ?, ?)"
        " ON CONFLICT(kind, activity_id) DO NOTHING");
    if (!insert.valid()) return false;
    // The row outlives the statement's use here: its texts need no copy.
    insert.bind(1, static_cast<std::int64_t>(row.recordType));
    if (row.activityID) {
      insert.bindUncopied(2, *row.activityID);
    } else {
      insert.bindNull(2);
    }
    insert.bindUncopied(3, row.json);
    if (!insert.run()) return false;
    if (sqlite3_changes(db_) > 0) return true;
  }
  // An earlier version is stored: it is updated member by member. A stored text this version
  // cannot read is replaced by the newer one, as nothing of it could be kept.
  std::string body = row.json;
  {
    Statement select = statement("SELECT body FROM outbox WHERE kind = ? AND activity_id = ?");
    if (!select.valid()) return false;
    select.bind(1, static_cast<std::int64_t>(row.recordType));
    select.bindUncopied(2, *row.activityID);
    const int step = select.step();
    if (step == SQLITE_ROW) {
      auto updated = OSTRecordCoder::updatedJSON(select.text(0), row.json);
      if (updated.ok()) body = std::move(updated.value);
    } else if (step != SQLITE_DONE) {
      return false;
    }
  }
  // OR REPLACE deletes the earlier row and inserts anew, so the update gets a new, higher
  // identifier.
  Statement replace =
      statement("INSERT OR REPLACE INTO outbox(kind, activity_id, body) VALUES (?, ?, ?)");
  if (!replace.valid()) return false;
  replace.bind(1, static_cast<std::int64_t>(row.recordType));
  replace.bindUncopied(2, *row.activityID);
  replace.bindUncopied(3, body);
  return replace.run();
}

OSTResult<std::vector<OSTOutboxRow>> OSTSQLiteStore::outbox(std::size_t limit) {
  std::vector<OSTOutboxRow> rows;
  OSTStatus error = transaction("read the outbox of", [&] {
    Statement select =
        statement("SELECT id, kind, activity_id, body FROM outbox ORDER BY id LIMIT ?");
    if (!select.valid()) return false;
    select.bind(1, static_cast<std::int64_t>(std::min<std::size_t>(limit, INT64_MAX)));
    int step;
    while ((step = select.step()) == SQLITE_ROW) {
      OSTOutboxRow row;
      row.identifier = select.integer(0);
      row.recordType = static_cast<OSTRecordType>(select.integer(1));
      if (!select.isNull(2)) row.activityID = select.text(2);
      row.json = select.text(3);
      rows.push_back(std::move(row));
    }
    return step == SQLITE_DONE;
  });
  if (error) return {{}, error};
  return {std::move(rows), nullptr};
}

OSTStatus OSTSQLiteStore::removeFromOutbox(const std::vector<std::int64_t>& identifiers) {
  return transaction("remove records from the outbox of", [&] {
    for (std::int64_t identifier : identifiers) {
      Statement remove = statement("DELETE FROM outbox WHERE id = ?");
      if (!remove.valid()) return false;
      remove.bind(1, identifier);
      if (!remove.run()) return false;
    }
    return true;
  });
}
