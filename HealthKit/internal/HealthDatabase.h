#pragma once

// HealthDatabase: the objects saved on one simulated device, their anchors and the deletions
// they left behind.
//
// A quantity or category sample is kept as a row of plain numbers and the index of its shared
// parts (StoredRow, PartsTable), a few tens of bytes where the object itself would take a few
// hundred; reads rebuild it, equal in every value to the saved one. Correlations, their samples
// and workouts are kept whole. Deletions keep the deleted object's row.
//
// Every save and every deletion takes the next anchor value, so "what changed since anchor a"
// is every object and deletion with a larger anchor. A saved correlation brings its member
// samples in with it (each a stored object of its own type) and takes them out again when it is
// deleted. The database knows nothing of permissions: callers pass a Filter that decides what a
// reader may see. Read results are shared, immutable objects (rebuilt for the read, or the
// whole ones kept), so callers work on them outside the lock.
//
// Each type keeps its objects in anchor order and an index of them (and of its deletions) by
// start date; objects saved in start order, as most are, need no index of their own. A read
// bounded by dates (PredicateDateBounds) looks up only the entries that can overlap its bounds:
// a sample overlaps by its start and end, so the lookup widens the start bound by the type's
// longest duration. Reads return the same objects in the same order
// whether or not they are bounded; the bounds only spare the walk over the rest.
//
// Thread-safe. Owned by DeviceState.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Foundation/NSUUID.h"
#include "HealthKit/HKDeletedObject.h"
#include "HealthKit/HKObject.h"
#include "HealthKit/HKSample.h"
#include "HealthKit/internal/DateIndex.h"
#include "HealthKit/internal/PartsTable.h"
#include "HealthKit/internal/PredicateDateBounds.h"
#include "HealthKit/internal/SavedIdentifiers.h"
#include "HealthKit/internal/StoredRow.h"

namespace platform::healthkit {

// What reads and changes hand out. The strings point into the database's one copy of each
// distinct value, which lives as long as the database.
struct StoredObject {
  std::shared_ptr<const HKObject> object;
  const std::string* typeIdentifier = nullptr;
  const std::string* owner = nullptr;  // bundle identifier of the app that saved it
  std::uint64_t anchor = 0;
};

struct StoredDeletion {
  std::shared_ptr<const HKDeletedObject> deleted;
  std::shared_ptr<const HKObject> former;  // the object as it was, for predicates and permissions
  const std::string* typeIdentifier = nullptr;
  const std::string* owner = nullptr;
  std::uint64_t anchor = 0;
};

// What one save or deletion changed; sent to the running queries.
struct DatabaseChange {
  std::vector<StoredObject> added;
  std::vector<StoredDeletion> deleted;

  // The largest anchor the change took: tells one change from another.
  std::uint64_t latestAnchor() const {
    std::uint64_t latest = 0;
    for (const auto& object : added) latest = std::max(latest, object.anchor);
    for (const auto& deletion : deleted) latest = std::max(latest, deletion.anchor);
    return latest;
  }
};

// Decides whether a reader sees a stored object (the object and the app that saved it).
using Filter = std::function<bool(const HKObject& object, const std::string& owner)>;

class HealthDatabase {
 public:
  // Saves all objects or none. Fails (returning the reason) when an object, or a member of a
  // saved correlation, has a UUID that was saved before or appears twice in the batch.
  // `owner` is the saving app's bundle identifier.
  struct SaveResult {
    std::optional<std::string> failure;
    DatabaseChange change;
  };
  SaveResult insert(const std::vector<std::shared_ptr<const HKObject>>& objects,
                    const std::string& owner);

  // Deletes all objects (by UUID) or none. Fails when an object is not stored, or `owner` did
  // not save it (`notOwned` tells which failure it was).
  struct DeleteResult {
    std::optional<std::string> failure;
    bool notOwned = false;
    DatabaseChange change;
  };
  DeleteResult remove(const std::vector<std::shared_ptr<const HKObject>>& objects,
                      const std::string& owner);

  // The type's stored objects that pass the filter, in the order they were saved. Objects outside
  // every range of `within` are left out without asking the filter; the filter must reject them
  // anyway (see PredicateDateBounds.h).
  std::vector<StoredObject> objects(const std::string& typeIdentifier,
                                    const std::vector<DateBounds>& within,
                                    const Filter& filter) const;

  // The type's objects and deletions with anchors above `anchor` that pass the filter, in anchor
  // order, at most `limit` of both together (0: no limit). `newAnchor` is the anchor of the last
  // one returned when the limit cut the answer short, otherwise the latest anchor of the
  // database, so nothing the reader could not see is ever reported later. `within` bounds the
  // objects and deletions looked at, as for objects().
  struct Changes {
    std::vector<StoredObject> added;
    std::vector<StoredDeletion> deleted;
    std::uint64_t newAnchor = 0;
  };
  Changes changesSince(const std::string& typeIdentifier, std::uint64_t anchor, std::size_t limit,
                       const std::vector<DateBounds>& within, const Filter& filter) const;

  // The order in which bundle identifiers first saved anything (0 first), and whether the
  // source is a watch, as its first saved object's revision or device says.
  struct SourceInfo {
    std::size_t firstSave = 0;
    bool isWatch = false;
  };
  std::map<std::string, SourceInfo> sources() const;

 private:
  struct TypeTable {
    std::deque<StoredRow> objects;  // ascending anchors; deleted ones erased, dropped now and then
    std::size_t erased = 0;         // erased rows in `objects`
    std::deque<StoredRow> deletions;  // the deleted objects' rows, at the deletions' anchors
    // The objects kept whole, and the former objects of their deletions, by anchor.
    std::unordered_map<std::uint64_t, std::shared_ptr<const HKObject>> whole;
    // While every object came in start order (the usual case) the objects are their own date
    // index and byDate holds the deletions only; the first object out of order indexes them all.
    DateIndex byDate;
    bool inStartOrder = true;
    double longest = 0;  // the longest duration ever stored, in seconds
    const std::string* typeIdentifier = nullptr;
    std::uint16_t number = 0;  // its place in tableList_

    // Appends a newly saved object's row.
    void add(const StoredRow& row);
    // Turns the live object's row into the deletion's row `gone`.
    void erase(std::deque<StoredRow>::iterator live, const StoredRow& gone);

    // The live object's or the deletion's row at the anchor, or nullptr.
    const StoredRow* objectAt(std::uint64_t anchor) const;
    const StoredRow* deletionAt(std::uint64_t anchor) const;
    // Rows of objects and deletions with anchors above `after` inside any of the ranges, in
    // anchor order.
    struct Hit {
      const StoredRow* row = nullptr;
      bool deleted = false;
    };
    std::vector<Hit> rowsWithin(const std::vector<DateBounds>& ranges, std::uint64_t after) const;
    // Whether an object or deletion has an anchor above `anchor`.
    bool hasAnchorAbove(std::uint64_t anchor) const;
  };

  // The object a row stands for. Caller holds mutex_.
  std::shared_ptr<const HKObject> objectOf(const TypeTable& table, const StoredRow& row) const;
  const std::string& ownerOf(const StoredRow& row) const { return *parts_.at(row.parts).owner; }
  // The row's object as a read hands it out, when it passes the filter.
  bool takeObject(const TypeTable& table, const StoredRow& row, const Filter& filter,
                  std::vector<StoredObject>& into) const;
  bool takeDeletion(const TypeTable& table, const StoredRow& row, const Filter& filter,
                    std::vector<StoredDeletion>& into) const;
  // Passes the first object or deletion above `anchor` through the filter, for its exception
  // only: a bounded read fails on a predicate that cannot be evaluated as a full walk would.
  void probeFirstAbove(const TypeTable& table, std::uint64_t anchor, const Filter& filter) const;

  // Deletes the live object with the UUID (and a correlation's members), appending the
  // deletions to `change`. Caller holds mutex_.
  void eraseLocked(const NSUUID& uuid, DatabaseChange& change);
  // The live object's row with the UUID, or nullptr. Caller holds mutex_.
  const StoredRow* liveRowLocked(const NSUUID& uuid) const;
  // The UUID of the object or deletion at a place. Caller holds mutex_.
  NSUUID uuidAt(SavedIdentifiers::Place place) const;
  // changesSince() over every entry above the anchor, or over those `within` some range.
  // Caller holds mutex_.
  void allChangesLocked(const TypeTable& table, std::uint64_t anchor, std::size_t limit,
                        const Filter& filter, Changes& changes) const;
  void boundedChangesLocked(const TypeTable& table, std::uint64_t anchor, std::size_t limit,
                            const std::vector<DateBounds>& within, const Filter& filter,
                            Changes& changes) const;
  // Adds the row's object or deletion when it passes the filter; true when that makes the
  // answer `limit` long.
  bool takeChange(const TypeTable& table, const StoredRow& row, bool deleted, std::size_t limit,
                  const Filter& filter, Changes& changes) const;
  // A full answer ends at `last` when more of the type follows it.
  static void cutAt(const TypeTable& table, std::uint64_t last, Changes& changes);

  // The one copy of a type or bundle identifier. Caller holds mutex_.
  const std::string* internLocked(const std::string& text);
  // The type's table, made when the type is first saved. Caller holds mutex_.
  TypeTable& tableLocked(const std::string& typeIdentifier);

  mutable std::mutex mutex_;  // guards every field below
  std::uint64_t lastAnchor_ = 0;
  std::unordered_set<std::string> strings_;            // never erased: StoredObject points here
  std::unordered_map<std::string, TypeTable> tables_;  // by type identifier
  std::vector<TypeTable*> tableList_;                  // by TypeTable::number
  PartsTable parts_;
  SavedIdentifiers saved_;  // where each UUID ever saved is, or its deletion
  std::map<std::string, SourceInfo> sources_;
};

}  // namespace platform::healthkit
