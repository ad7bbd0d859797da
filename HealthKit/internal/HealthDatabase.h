#pragma once

// HealthDatabase: the objects saved on one simulated device, their anchors and the deletions
// they left behind.
//
// Every save and every deletion takes the next anchor value, so "what changed since anchor a"
// is every object and deletion with a larger anchor. A saved correlation brings its member
// samples in with it (each a stored object of its own type) and takes them out again when it is
// deleted. The database knows nothing of permissions: callers pass a Filter that decides what a
// reader may see. Read results are copies of shared, immutable objects, so callers work on them
// outside the lock.
//
// Thread-safe. Owned by DeviceState.

#include <algorithm>
#include <cstddef>
#include <cstdint>
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

namespace platform::healthkit {

struct StoredObject {
  std::shared_ptr<const HKObject> object;
  std::string typeIdentifier;
  std::string owner;  // bundle identifier of the app that saved it
  std::uint64_t anchor = 0;
};

struct StoredDeletion {
  std::shared_ptr<const HKDeletedObject> deleted;
  std::shared_ptr<const HKObject> former;  // the object as it was, for predicates and permissions
  std::string typeIdentifier;
  std::string owner;
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

  // The type's stored objects that pass the filter, in the order they were saved.
  std::vector<StoredObject> objects(const std::string& typeIdentifier, const Filter& filter) const;

  // The type's objects and deletions with anchors above `anchor` that pass the filter, in anchor
  // order, at most `limit` of both together (0: no limit). `newAnchor` is the anchor of the last
  // one returned when the limit cut the answer short, otherwise the latest anchor of the
  // database, so nothing the reader could not see is ever reported later.
  struct Changes {
    std::vector<StoredObject> added;
    std::vector<StoredDeletion> deleted;
    std::uint64_t newAnchor = 0;
  };
  Changes changesSince(const std::string& typeIdentifier, std::uint64_t anchor, std::size_t limit,
                       const Filter& filter) const;

  // The order in which bundle identifiers first saved anything (0 first), and whether the
  // source is a watch, as its first saved object's revision or device says.
  struct SourceInfo {
    std::size_t firstSave = 0;
    bool isWatch = false;
  };
  std::map<std::string, SourceInfo> sources() const;

 private:
  struct TypeTable {
    std::map<std::uint64_t, StoredObject> objects;  // by anchor
    std::vector<StoredDeletion> deletions;          // ascending anchors
  };

  // Appends the deletion of a stored object and its correlation members. Caller holds mutex_.
  void eraseLocked(const StoredObject& stored, DatabaseChange& change);

  mutable std::mutex mutex_;  // guards every field below
  std::uint64_t lastAnchor_ = 0;
  std::unordered_map<std::string, TypeTable> tables_;                        // by type identifier
  std::unordered_map<NSUUID, std::pair<std::string, std::uint64_t>> index_;  // live objects
  std::unordered_set<NSUUID> everSaved_;
  std::map<std::string, SourceInfo> sources_;
};

}  // namespace platform::healthkit
