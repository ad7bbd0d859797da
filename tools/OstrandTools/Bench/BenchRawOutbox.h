#pragma once

// BenchRawOutbox: the outbox bench's baseline. The session's outbox table (same columns, same
// UNIQUE(kind, activity_id)) in a database of its own, written with the plain SQLite API: one
// prepared INSERT OR REPLACE, one IMMEDIATE transaction per batch, the same journal (WAL) and
// synchronisation (FULL) as the session's store, so both pay the same for durability.
//
// Not thread-safe; the connection closes with the object.
//
//   BenchRawOutbox outbox(path);
//   if (!outbox.open()) std::cerr << outbox.lastError();
//   outbox.upsert(rows);

#include <string>
#include <vector>

#include "OstrandCore/OSTStore.h"

struct sqlite3;
struct sqlite3_stmt;

namespace ostrand_tools {

class BenchRawOutbox {
 public:
  explicit BenchRawOutbox(std::string path) : path_(std::move(path)) {}
  ~BenchRawOutbox();
  BenchRawOutbox(const BenchRawOutbox&) = delete;
  BenchRawOutbox& operator=(const BenchRawOutbox&) = delete;

  // Creates the database and its table; false when SQLite refused (see lastError()).
  bool open();
  // Writes the rows' kind, activity identifier and JSON in one transaction.
  bool upsert(const std::vector<OSTOutboxRow>& rows);
  // SQLite's reason for the last failure.
  const std::string& lastError() const { return error_; }

 private:
  bool execute(const char* sql);
  bool insert(const OSTOutboxRow& row);
  // Keeps SQLite's reason for the failure; returns false.
  bool fail();

  std::string path_;
  sqlite3* db_ = nullptr;
  sqlite3_stmt* insert_ = nullptr;
  std::string error_;
};

}  // namespace ostrand_tools
