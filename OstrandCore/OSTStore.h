#pragma once

// OSTStore: where a user session keeps its data durably: the session data and the outbox of
// records waiting for upload. OSTSession talks to storage only through this interface;
// OSTSQLiteStore is the real one, and tests wrap it to inject faults.
//
// The store deals in plain rows: sample types by identifier, anchors in archived form or as the
// older plain number, records as their JSON. Every operation is all or nothing: when it reports
// an error, nothing of it was committed. Errors are values of kOSTCoreErrorDomain whose
// description names the database and the reason.
//
// Not thread-safe: OSTSession calls a store from one thread at a time.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Foundation/NSDate.h"
#include "OstrandCore/OSTError.h"
#include "OstrandCore/OSTRecordType.h"

// Session data as stored.
struct OSTStoredSessionData {
  // Sample type identifier -> the anchor's archived data, or the plain number of older data.
  std::map<std::string, std::variant<std::string, std::uint64_t>> anchors;
  // Sample type identifier -> query date.
  std::map<std::string, NSDate> queryDates;
  std::optional<NSDate> routineQueryTimestamp;
  std::optional<NSDate> routineFetchTimestamp;
  std::optional<NSDate> intradayStepsQueryTimestamp;
  std::optional<NSDate> intradayStepsFetchTimestamp;

  bool operator==(const OSTStoredSessionData&) const = default;
};

// One record in the outbox.
struct OSTOutboxRow {
  // Assigned by the store, increasing with every write; 0 for a row not yet stored.
  std::int64_t identifier = 0;
  OSTRecordType recordType = OSTRecordTypeNone;
  // Records without an activity identifier never update one another.
  std::optional<std::string> activityID;
  std::string json;
};

class OSTStore {
 public:
  virtual ~OSTStore() = default;

  // The database's location, for messages.
  virtual std::string path() const = 0;

  // Opens (creating when missing) the database. Must succeed before any other call.
  [[nodiscard]] virtual OSTStatus open() = 0;

  [[nodiscard]] virtual OSTResult<OSTStoredSessionData> loadSessionData() = 0;
  // Replaces the stored session data with `data`, in one transaction.
  [[nodiscard]] virtual OSTStatus saveSessionData(OSTStoredSessionData data) = 0;

  // Adds the rows to the outbox in one transaction. A row with the kind and activity identifier
  // of one already there (or earlier in `rows`) is a newer version of that record: it updates the
  // stored one member by member (OSTRecordCoder::updatedJSON: what the newer has replaces the
  // stored value, what it lacks keeps it, extras key by key), and the result takes a new
  // identifier, so a newer version is never removed as uploaded under the identifier of the
  // older one. A stored text that cannot be read is replaced by the newer one. Only rows with an
  // earlier version cost a read of JSON.
  [[nodiscard]] virtual OSTStatus addToOutbox(const std::vector<OSTOutboxRow>& rows) = 0;
  // The oldest `limit` rows, in order of identifier.
  [[nodiscard]] virtual OSTResult<std::vector<OSTOutboxRow>> outbox(std::size_t limit) = 0;
  // Removes the rows with those identifiers (unknown identifiers are ignored).
  [[nodiscard]] virtual OSTStatus removeFromOutbox(
      const std::vector<std::int64_t>& identifiers) = 0;
};
