#include "OstrandCore/OSTSession.h"

#include <stdexcept>

#include "OstrandCore/OSTLog.h"
#include "OstrandCore/OSTRecordCoder.h"
#include "OstrandCore/OSTSQLiteStore.h"
#include "OstrandCore/internal/OSTAutosave.h"

namespace {

// Session data as stored, and the entries this version cannot read.
struct Loaded {
  std::shared_ptr<OSTSessionData> data = std::make_shared<OSTSessionData>();
  OSTStoredSessionData unreadable;
};

std::shared_ptr<const HKSampleType> sampleType(const std::string& identifier) {
  return std::dynamic_pointer_cast<const HKSampleType>(HKObjectType::typeForIdentifier(identifier));
}

Loaded fromStored(const OSTStoredSessionData& stored, const std::string& path) {
  Loaded loaded;
  OSTAnchorDictionary anchors;
  for (const auto& [identifier, anchor] : stored.anchors) {
    auto type = sampleType(identifier);
    std::optional<OSTStoredAnchor> value;
    if (const auto* number = std::get_if<std::uint64_t>(&anchor)) {
      value = *number;
    } else if (auto archived =
                   HKQueryAnchor::anchorWithArchivedData(std::get<std::string>(anchor))) {
      value = archived;
    }
    if (!type || !value) {
      OSTLog::log(OSTLog::Warning,
                  "OSTSession: the database at %s holds an anchor this version cannot read, for "
                  "'%s'; it is kept as it is",
                  path, identifier);
      loaded.unreadable.anchors.emplace(identifier, anchor);
      continue;
    }
    anchors.emplace(type, *value);
  }
  OSTQueryDateDictionary queryDates;
  for (const auto& [identifier, date] : stored.queryDates) {
    auto type = sampleType(identifier);
    if (!type) {
      OSTLog::log(OSTLog::Warning,
                  "OSTSession: the database at %s holds a query date for an unknown sample type "
                  "'%s'; it is kept as it is",
                  path, identifier);
      loaded.unreadable.queryDates.emplace(identifier, date);
      continue;
    }
    queryDates.emplace(type, date);
  }
  loaded.data->setAnchors(std::move(anchors));
  loaded.data->setQueryDates(std::move(queryDates));
  loaded.data->setRoutineQueryTimestamp(stored.routineQueryTimestamp);
  loaded.data->setRoutineFetchTimestamp(stored.routineFetchTimestamp);
  loaded.data->setIntradayStepsQueryTimestamp(stored.intradayStepsQueryTimestamp);
  loaded.data->setIntradayStepsFetchTimestamp(stored.intradayStepsFetchTimestamp);
  return loaded;
}

OSTStoredSessionData toStored(const OSTSessionData& data, const OSTStoredSessionData& unreadable) {
  OSTStoredSessionData stored;
  for (const auto& [type, anchor] : data.anchors()) {
    if (const auto* number = std::get_if<std::uint64_t>(&anchor)) {
      stored.anchors.emplace(type->identifier(), *number);
    } else if (const auto& object = std::get<std::shared_ptr<const HKQueryAnchor>>(anchor)) {
      stored.anchors.emplace(type->identifier(), object->archivedData());
    }
  }
  for (const auto& [type, date] : data.queryDates()) {
    stored.queryDates.emplace(type->identifier(), date);
  }
  // emplace keeps what the session holds now when an unreadable entry has the same key.
  stored.anchors.insert(unreadable.anchors.begin(), unreadable.anchors.end());
  stored.queryDates.insert(unreadable.queryDates.begin(), unreadable.queryDates.end());
  stored.routineQueryTimestamp = data.routineQueryTimestamp();
  stored.routineFetchTimestamp = data.routineFetchTimestamp();
  stored.intradayStepsQueryTimestamp = data.intradayStepsQueryTimestamp();
  stored.intradayStepsFetchTimestamp = data.intradayStepsFetchTimestamp();
  return stored;
}

}  // namespace

std::shared_ptr<OSTSession> OSTSession::sharedInstance() {
  static auto* const session = new std::shared_ptr<OSTSession>(std::make_shared<OSTSession>());
  return *session;
}

OSTSession::OSTSession() : sessionData_(std::make_shared<OSTSessionData>()) {}

OSTSession::~OSTSession() { endSession(); }

OSTStatus OSTSession::report(OSTStatus error) {
  if (error) OSTLog::log(OSTLog::Error, "OSTSession: %s", error->localizedDescription());
  return error;
}

OSTStatus OSTSession::startSession(std::string ostrandUserID, const std::string& databasePath) {
  return startSession(std::move(ostrandUserID), std::make_unique<OSTSQLiteStore>(databasePath));
}

OSTStatus OSTSession::startSession(std::string ostrandUserID, std::unique_ptr<OSTStore> store) {
  if (!store) throw std::invalid_argument("startSession: store must not be null");
  stopAutosave();
  std::lock_guard lock(mutex_);
  endSessionLocked();
  user_ = std::make_shared<const OSTUser>(std::move(ostrandUserID));
  const std::string path = store->path();
  OSTStatus error = store->open();
  OSTResult<OSTStoredSessionData> stored;
  if (!error) {
    stored = store->loadSessionData();
    error = stored.error;
  }
  if (error) {
    report(error);
    // Run in memory; the file that failed is closed and never written.
    store = std::make_unique<OSTSQLiteStore>(":memory:");
    if (OSTStatus memoryError = store->open()) report(memoryError);
    unavailable_ = error;
    sessionData_ = std::make_shared<OSTSessionData>();
    store_ = std::move(store);
    startAutosaveLocked();
    return error;
  }
  Loaded loaded = fromStored(stored.value, path);
  sessionData_ = std::move(loaded.data);
  unreadable_ = std::move(loaded.unreadable);
  store_ = std::move(store);
  startAutosaveLocked();
  return nullptr;
}

void OSTSession::endSession() {
  stopAutosave();
  std::lock_guard lock(mutex_);
  endSessionLocked();
}

void OSTSession::startAutosaveLocked() {
  autosave_ = OSTAutosave::start([this] {
    std::lock_guard lock(mutex_);
    return !store_ || writeSessionDataLocked() == nullptr;
  });
  // The data may outlive the session (a caller may hold it): its handler holds the autosave
  // weakly, and a detached autosave writes nothing.
  sessionData_->setChangeHandler([weak = std::weak_ptr<OSTAutosave>(autosave_)] {
    if (auto autosave = weak.lock()) autosave->changed();
  });
}

void OSTSession::stopAutosave() {
  std::shared_ptr<OSTAutosave> autosave;
  {
    std::lock_guard lock(mutex_);
    autosave = std::move(autosave_);
    sessionData_->setChangeHandler(nullptr);
  }
  // Outside mutex_: a write that is running takes it, and detach() waits for that write.
  if (autosave) autosave->detach();
}

void OSTSession::endSessionLocked() {
  if (store_ && !pending_.empty() && !unavailable_) {
    if (OSTStatus error = flushPendingLocked()) {
      OSTLog::log(OSTLog::Error, "OSTSession: %lu submitted records were never stored: %s",
                  pending_.size(), error->localizedDescription());
    }
  }
  pending_.clear();
  store_.reset();
  user_.reset();
  unavailable_.reset();
  unreadable_ = {};
  sessionData_ = std::make_shared<OSTSessionData>();
}

std::shared_ptr<const OSTUser> OSTSession::user() const {
  std::lock_guard lock(mutex_);
  return user_;
}

std::shared_ptr<OSTSessionData> OSTSession::sessionData() const {
  std::lock_guard lock(mutex_);
  return sessionData_;
}

OSTStatus OSTSession::inMemoryResultLocked(const std::string& what) const {
  if (!unavailable_) return nullptr;
  return OSTCoreError(OSTCoreErrorStorageUnavailable,
                      what + " in memory only: " + unavailable_->localizedDescription());
}

OSTStatus OSTSession::flushPendingLocked() {
  if (pending_.empty()) return nullptr;
  OSTStatus error = store_->addToOutbox(pending_);
  if (!error) pending_.clear();
  return error;
}

OSTStatus OSTSession::writeSessionDataLocked() {
  // Records kept from a failed submission are written first, and while they cannot be, neither
  // is the session data: an anchor stored after them must not reach the disk ahead of them.
  if (OSTStatus error = flushPendingLocked()) return report(error);
  // The snapshot is taken under mutex_ so that two saves at once write in the order they read:
  // an older snapshot never overwrites a newer one. The session data's own lock is only ever
  // taken inside mutex_, never the other way round. The changes are taken before the snapshot,
  // so one made meanwhile is written again later rather than not at all.
  if (autosave_) autosave_->takeChanges();
  OSTStatus error = store_->saveSessionData(toStored(*sessionData_, unreadable_));
  if (error) {
    if (autosave_) autosave_->keepChanges();
    report(error);
  }
  return error;
}

OSTStatus OSTSession::saveSessionData() {
  std::lock_guard lock(mutex_);
  if (!store_) {
    return report(
        OSTCoreError(OSTCoreErrorNoSession, "cannot save session data: no session is running"));
  }
  if (OSTStatus error = writeSessionDataLocked()) return error;
  return inMemoryResultLocked("session data saved");
}

OSTStatus OSTSession::submitRecords(const std::vector<std::shared_ptr<OSTRecord>>& records) {
  std::vector<OSTOutboxRow> rows;
  rows.reserve(records.size());
  for (const auto& record : records) {
    if (!record) continue;
    if (record->recordType() == OSTRecordTypeNone) {
      return report(OSTCoreError(OSTCoreErrorInvalidRecord,
                                 "cannot submit records: a " + record->className() +
                                     " has no record kind; nothing of the batch was stored"));
    }
    rows.push_back(
        {0, record->recordType(), record->activityID(), OSTRecordCoder::JSONFromRecord(*record)});
  }
  std::lock_guard lock(mutex_);
  if (!store_) {
    return report(OSTCoreError(
        OSTCoreErrorNoSession,
        "cannot submit " + std::to_string(rows.size()) + " records: no session is running"));
  }
  if (rows.empty() && pending_.empty()) return nullptr;
  // Earlier rows go first so that a newer version of a record replaces an older one.
  pending_.insert(pending_.end(), std::make_move_iterator(rows.begin()),
                  std::make_move_iterator(rows.end()));
  if (OSTStatus error = flushPendingLocked()) return report(error);
  // Session data changed since it was last written goes right after the records: a position
  // never reaches the disk ahead of the records committed before it. Its failure is logged and
  // leaves the change to the next occasion; the records are stored either way.
  if (autosave_ && autosave_->hasChanges()) (void)writeSessionDataLocked();
  return inMemoryResultLocked("records stored");
}

OSTResult<std::vector<OSTOutboxRecord>> OSTSession::outboxRecords(std::size_t limit) {
  OSTResult<std::vector<OSTOutboxRow>> rows;
  {
    std::lock_guard lock(mutex_);
    if (!store_)
      return {{},
              OSTCoreError(OSTCoreErrorNoSession, "cannot read the outbox: no session is running")};
    if (OSTStatus error = flushPendingLocked()) report(error);
    rows = store_->outbox(limit);
    if (!rows.ok()) return {{}, report(rows.error)};
  }
  std::vector<OSTOutboxRecord> result;
  result.reserve(rows.value.size());
  for (const auto& row : rows.value) {
    auto decoded = OSTRecordCoder::recordFromJSON(row.json);
    result.push_back({row.identifier, std::move(decoded.value), decoded.error});
  }
  return {std::move(result), nullptr};
}

OSTStatus OSTSession::removeOutboxRecords(const std::vector<std::int64_t>& identifiers) {
  std::lock_guard lock(mutex_);
  if (!store_)
    return report(
        OSTCoreError(OSTCoreErrorNoSession, "cannot remove records: no session is running"));
  if (OSTStatus error = store_->removeFromOutbox(identifiers)) return report(error);
  return nullptr;
}
