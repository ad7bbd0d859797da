#pragma once

// OSTSession: the core library's session for the signed-in user. It owns the user, the session
// data (sync positions that must survive restarts) and the outbox of records waiting for
// upload, all kept durably in one database per user session (OSTStore; OSTSQLiteStore by
// default).
//
// Durability: submitRecords() commits the whole batch to the outbox in one transaction before it
// returns, so after a crash either every record of a batch is there or none is. A record with
// the kind and activity identifier of one already in the outbox updates it member by member (see
// OSTRecord::updateWith): what the newer record has replaces the stored value, what it lacks
// keeps it, extras key by key; so a later, partial view of a day (a heart-rate day fetched again
// with only its resting rate) never erases what an earlier one held. The updated record takes a
// new identifier. Once a record has been uploaded and removed, the outbox no longer has it: a
// later version is stored, and uploaded, with only its own members, and the receiver applies it
// to what it holds under the same kind and activity identifier in the same way. Records without
// an activity identifier never update one another.
//
// Session data is written by saveSessionData(), whole, in one transaction; and the session writes
// it without being asked when it changed (the engine's timestamp setters do not ask): with the
// next outbox commit (right after the records), at the main queue's next turn after the change
// (holding a background task until then, so the application is not suspended in between), and
// when the application enters the background. A write that only moves positions does not wait
// for the disk (see OSTSQLiteStore). So a change is lost only by a crash before that next turn,
// or when the session ends first: endSession() writes nothing more, as a killed process would not.
//
// Failure: a database that is missing, locked, corrupt or of a newer version is reported in the
// log at level 0 (the message names the path and SQLite's reason) and as the error value of the
// call; the host keeps running. When the database cannot be opened the session still starts and
// runs in memory (a private in-memory database): every later save or submission works but
// returns OSTCoreErrorStorageUnavailable, and the file on disk is never written. When a
// submission fails on an open database (locked past the busy timeout, disk full), its records
// are kept in memory and written before the next submission; they are lost only if the session
// ends before any write succeeds, which is logged.
//
// Thread-safe: any thread may call any operation; submissions from several threads at once are
// serialised around the database (records are encoded before the lock). The session data object
// locks itself (see OSTSessionData). Records must not be changed while submitRecords() runs.
//
//   auto session = OSTSession::sharedInstance();
//   if (auto error = session->startSession("user-42", "/data/user-42.sqlite")) { /* logged */ }
//   (void)session->submitRecords({record});
//   auto batch = session->outboxRecords(100);           // upload them, then:
//   (void)session->removeOutboxRecords({batch.value[0].identifier});
//   session->endSession();

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "OstrandCore/OSTError.h"
#include "OstrandCore/OSTModel.h"
#include "OstrandCore/OSTRecord.h"
#include "OstrandCore/OSTSessionData.h"
#include "OstrandCore/OSTStore.h"
#include "OstrandCore/OSTUser.h"

class OSTAutosave;

// A record read back from the outbox.
struct OSTOutboxRecord {
  // Pass to removeOutboxRecords() once uploaded.
  std::int64_t identifier = 0;
  // nullptr when the stored JSON cannot be read back; `error` then says why.
  std::shared_ptr<OSTRecord> record;
  OSTStatus error;
};

class OSTSession : public OSTModel {
 public:
  // The process's session. Never destroyed, so it stays usable during static destruction.
  static std::shared_ptr<OSTSession> sharedInstance();

  OSTSession();
  ~OSTSession() override;

  // Ends any running session, then starts one for the user on the database at `databasePath`
  // (created when missing; its directory must exist). An error means the session runs in memory
  // (see above); the user and empty session data are in place either way.
  [[nodiscard]] OSTStatus startSession(std::string ostrandUserID, const std::string& databasePath);
  // The same on a store of the caller's choice (tests inject faults this way).
  [[nodiscard]] OSTStatus startSession(std::string ostrandUserID, std::unique_ptr<OSTStore> store);
  // Closes the database. Afterwards user() is nullptr and sessionData() empty.
  void endSession();

  // The signed-in user; nullptr when no session is running.
  std::shared_ptr<const OSTUser> user() const;
  // Never nullptr. Without a running session, an empty object that no save reaches.
  std::shared_ptr<OSTSessionData> sessionData() const;

  // Writes the session data to the database now.
  [[nodiscard]] OSTStatus saveSessionData();
  // Commits the records to the outbox (see above). Null entries are skipped; a record of no kind
  // (a plain OSTRecord) fails the whole batch with OSTCoreErrorInvalidRecord.
  [[nodiscard]] OSTStatus submitRecords(const std::vector<std::shared_ptr<OSTRecord>>& records);
  // The oldest `limit` records of the outbox, oldest first.
  [[nodiscard]] OSTResult<std::vector<OSTOutboxRecord>> outboxRecords(std::size_t limit);
  // Removes uploaded records. A record updated since it was read has a new identifier and stays.
  [[nodiscard]] OSTStatus removeOutboxRecords(const std::vector<std::int64_t>& identifiers);

  std::string className() const override { return "OSTSession"; }

 private:
  // Logs a storage error at level 0 and returns it.
  static OSTStatus report(OSTStatus error);
  // Writes rows left from a failed submission; call with mutex_ held.
  OSTStatus flushPendingLocked();
  // What a successful operation returns while the database is unavailable.
  OSTStatus inMemoryResultLocked(const std::string& what) const;
  void endSessionLocked();
  // Starts writing the session data's changes without being asked; call with mutex_ held.
  void startAutosaveLocked();
  // Stops it; call without mutex_ held (a running write takes mutex_).
  void stopAutosave();
  // Writes the session data (the snapshot is taken under mutex_, so saves write in the order
  // they read); call with mutex_ held.
  OSTStatus writeSessionDataLocked();

  mutable std::mutex mutex_;  // guards every field below
  std::shared_ptr<const OSTUser> user_;
  std::shared_ptr<OSTSessionData> sessionData_;
  std::unique_ptr<OSTStore> store_;
  // Set when the database could not be opened: why, and the session runs in memory.
  OSTStatus unavailable_;
  // Stored entries this version cannot read (unknown sample types, unreadable anchors): kept and
  // written back with every save, so a newer version's data is not lost.
  OSTStoredSessionData unreadable_;
  // Rows of submissions that failed on an open database, written before the next one.
  std::vector<OSTOutboxRow> pending_;
  // Writes the session data's changes while a session runs; nullptr otherwise.
  std::shared_ptr<OSTAutosave> autosave_;
};
