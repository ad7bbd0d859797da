#include "tools/OstrandTools/Bench/BenchRawOutbox.h"

#include <sqlite3.h>

namespace ostrand_tools {

BenchRawOutbox::~BenchRawOutbox() {
  sqlite3_finalize(insert_);
  sqlite3_close(db_);
}

bool BenchRawOutbox::execute(const char* sql) {
  return sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) == SQLITE_OK || fail();
}

bool BenchRawOutbox::fail() {
  error_ = db_ != nullptr ? sqlite3_errmsg(db_) : "out of memory";
  return false;
}

bool BenchRawOutbox::open() {
  if (sqlite3_open(path_.c_str(), &db_) != SQLITE_OK) return fail();
  if (!execute("PRAGMA journal_mode = WAL") || !execute("PRAGMA synchronous = FULL") ||
      !execute("CREATE TABLE outbox(id INTEGER PRIMARY KEY AUTOINCREMENT, kind INTEGER NOT NULL,"
               " activity_id TEXT, body TEXT NOT NULL, UNIQUE(kind, activity_id))")) {
    return false;
  }
  return sqlite3_prepare_v2(
             db_, "INSERT OR REPLACE INTO outbox(kind, activity_id, body) VALUES (?, ?, ?)", -1,
             &insert_, nullptr) == SQLITE_OK ||
         fail();
}

bool BenchRawOutbox::insert(const OSTOutboxRow& row) {
  sqlite3_bind_int64(insert_, 1, static_cast<sqlite3_int64>(row.recordType));
  if (row.activityID) {
    sqlite3_bind_text(insert_, 2, row.activityID->data(), static_cast<int>(row.activityID->size()),
                      SQLITE_STATIC);
  } else {
    sqlite3_bind_null(insert_, 2);
  }
  sqlite3_bind_text(insert_, 3, row.json.data(), static_cast<int>(row.json.size()), SQLITE_STATIC);
  const bool done = sqlite3_step(insert_) == SQLITE_DONE || fail();
  sqlite3_reset(insert_);
  return done;
}

bool BenchRawOutbox::upsert(const std::vector<OSTOutboxRow>& rows) {
  if (!execute("BEGIN IMMEDIATE")) return false;
  for (const auto& row : rows) {
    if (!insert(row)) {
      execute("ROLLBACK");
      return false;
    }
  }
  return execute("COMMIT");
}

}  // namespace ostrand_tools
