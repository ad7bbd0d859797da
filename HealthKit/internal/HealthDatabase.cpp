#include "HealthKit/internal/HealthDatabase.h"

#include <algorithm>

#include "HealthKit/HKCorrelation.h"

namespace platform::healthkit {

namespace {

std::string typeIdentifierOf(const HKObject& object) {
  if (auto sample = dynamic_cast<const HKSample*>(&object)) {
    return sample->sampleType()->identifier();
  }
  return {};
}

// The object followed by the members of a correlation, which are saved and deleted with it.
std::vector<std::shared_ptr<const HKObject>> withMembers(
    const std::shared_ptr<const HKObject>& object) {
  std::vector<std::shared_ptr<const HKObject>> all{object};
  if (auto correlation = std::dynamic_pointer_cast<const HKCorrelation>(object)) {
    for (const auto& member : correlation->objects()) all.push_back(member);
  }
  return all;
}

// The sample's dates in seconds since the reference date; objects other than samples have none
// and sort first.
std::pair<double, double> datesOf(const HKObject& object) {
  if (auto sample = dynamic_cast<const HKSample*>(&object)) {
    return {sample->startDate().timeIntervalSinceReferenceDate(),
            sample->endDate().timeIntervalSinceReferenceDate()};
  }
  return {-DateBounds::kNone, -DateBounds::kNone};
}

bool unbounded(const std::vector<DateBounds>& ranges) {
  return ranges.size() == 1 && ranges.front().unbounded();
}

bool isWatch(const HKObject& object) {
  const auto& revision = object.sourceRevision();
  if (revision && revision->productType() && revision->productType()->rfind("Watch", 0) == 0) {
    return true;
  }
  const auto& device = object.device();
  return device && device->model() && device->model()->find("Watch") != std::string::npos;
}

}  // namespace

const StoredObject* HealthDatabase::TypeTable::objectAt(std::uint64_t anchor) const {
  auto found = std::lower_bound(
      objects.begin(), objects.end(), anchor,
      [](const StoredObject& entry, std::uint64_t value) { return entry.anchor < value; });
  if (found == objects.end() || found->anchor != anchor || !found->object) return nullptr;
  return &*found;
}

const StoredDeletion* HealthDatabase::TypeTable::deletionAt(std::uint64_t anchor) const {
  auto found = std::lower_bound(
      deletions.begin(), deletions.end(), anchor,
      [](const StoredDeletion& entry, std::uint64_t value) { return entry.anchor < value; });
  if (found == deletions.end() || found->anchor != anchor) return nullptr;
  return &*found;
}

std::vector<std::uint64_t> HealthDatabase::TypeTable::anchorsWithin(
    const std::vector<DateBounds>& ranges, std::uint64_t after) const {
  std::vector<std::uint64_t> anchors;
  for (const DateBounds& range : ranges) {
    // A sample ending inside the range started at most `longest` seconds before it.
    const double from = std::max(range.startFrom, range.endFrom - longest);
    const double to = std::min(range.startTo, range.endTo);
    if (!(from <= to)) continue;
    byDate.forEachStartingWithin(from, to, [&](const DateIndex::Entry& entry) {
      if (entry.anchor > after && range.contains(entry.start, entry.end)) {
        anchors.push_back(entry.anchor);
      }
    });
  }
  std::sort(anchors.begin(), anchors.end());
  anchors.erase(std::unique(anchors.begin(), anchors.end()), anchors.end());
  return anchors;
}

void HealthDatabase::TypeTable::probeFirstAbove(std::uint64_t anchor, const Filter& filter) const {
  if (!filter) return;
  auto object = std::upper_bound(
      objects.begin(), objects.end(), anchor,
      [](std::uint64_t value, const StoredObject& entry) { return value < entry.anchor; });
  while (object != objects.end() && !object->object) ++object;
  auto deletion = std::upper_bound(
      deletions.begin(), deletions.end(), anchor,
      [](std::uint64_t value, const StoredDeletion& entry) { return value < entry.anchor; });
  const bool takeObject =
      object != objects.end() && (deletion == deletions.end() || object->anchor < deletion->anchor);
  if (takeObject) {
    filter(*object->object, *object->owner);
  } else if (deletion != deletions.end()) {
    filter(*deletion->former, *deletion->owner);
  }
}

bool HealthDatabase::TypeTable::hasAnchorAbove(std::uint64_t anchor) const {
  // A deleted object's deletion has a larger anchor than the object, so the last entries of
  // the two sequences tell, deleted or not.
  return (!objects.empty() && objects.back().anchor > anchor) ||
         (!deletions.empty() && deletions.back().anchor > anchor);
}

HealthDatabase::SaveResult HealthDatabase::insert(
    const std::vector<std::shared_ptr<const HKObject>>& objects, const std::string& owner) {
  SaveResult result;
  std::vector<std::shared_ptr<const HKObject>> all;
  for (const auto& object : objects) {
    for (auto& one : withMembers(object)) all.push_back(std::move(one));
  }
  std::lock_guard<std::mutex> lock(mutex_);
  std::unordered_set<NSUUID> batch;
  for (std::size_t i = 0; i < all.size(); ++i) {
    const NSUUID& uuid = all[i]->UUID();
    if (saved_.count(uuid) != 0 || !batch.insert(uuid).second) {
      result.failure = "Object " + uuid.UUIDString() + " has already been saved";
      return result;
    }
  }
  const std::string* savedBy = internLocked(owner);
  for (const auto& object : all) {
    StoredObject stored{object, internLocked(typeIdentifierOf(*object)), savedBy, ++lastAnchor_};
    saved_.emplace(object->UUID(), Saved{stored.typeIdentifier, stored.anchor});
    TypeTable& table = tables_[*stored.typeIdentifier];
    const auto [start, end] = datesOf(*object);
    table.objects.push_back(stored);
    table.byDate.insert(DateIndex::Entry{start, end, stored.anchor});
    table.longest = std::max(table.longest, end - start);
    if (sources_.count(owner) == 0) {
      sources_[owner] = SourceInfo{sources_.size(), isWatch(*object)};
    }
    result.change.added.push_back(std::move(stored));
  }
  return result;
}

void HealthDatabase::eraseLocked(const StoredObject& stored, DatabaseChange& change) {
  for (const auto& object : withMembers(stored.object)) {
    auto found = saved_.find(object->UUID());
    if (found == saved_.end() || !found->second.live) continue;  // a member deleted on its own
    TypeTable& table = tables_[*found->second.typeIdentifier];
    auto entry = std::lower_bound(
        table.objects.begin(), table.objects.end(), found->second.anchor,
        [](const StoredObject& one, std::uint64_t value) { return one.anchor < value; });
    StoredDeletion deletion{
        HKDeletedObject::deletedObjectWithUUID(object->UUID(), object->metadata()), entry->object,
        entry->typeIdentifier, entry->owner, ++lastAnchor_};
    const auto [start, end] = datesOf(*entry->object);
    table.byDate.erase(DateIndex::Entry{start, end, entry->anchor});
    table.byDate.insert(DateIndex::Entry{start, end, deletion.anchor});
    entry->object = nullptr;
    // Dropping the deleted objects' places now and then keeps deletions cheap and the table lean.
    if (++table.erased > table.objects.size() / 2) {
      std::erase_if(table.objects, [](const StoredObject& one) { return !one.object; });
      table.erased = 0;
    }
    found->second.live = false;
    table.deletions.push_back(deletion);
    change.deleted.push_back(std::move(deletion));
  }
}

HealthDatabase::DeleteResult HealthDatabase::remove(
    const std::vector<std::shared_ptr<const HKObject>>& objects, const std::string& owner) {
  DeleteResult result;
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<StoredObject> doomed;
  for (const auto& object : objects) {
    auto found = saved_.find(object->UUID());
    if (found == saved_.end() || !found->second.live) {
      result.failure = "Object " + object->UUID().UUIDString() + " is not in the health database";
      return result;
    }
    const StoredObject& stored =
        *tables_[*found->second.typeIdentifier].objectAt(found->second.anchor);
    if (*stored.owner != owner) {
      result.notOwned = true;
      result.failure = "Object " + object->UUID().UUIDString() + " was saved by " + *stored.owner +
                       ", not by " + owner;
      return result;
    }
    doomed.push_back(stored);
  }
  for (const auto& stored : doomed) eraseLocked(stored, result.change);
  return result;
}

std::vector<StoredObject> HealthDatabase::objects(const std::string& typeIdentifier,
                                                  const std::vector<DateBounds>& within,
                                                  const Filter& filter) const {
  std::vector<StoredObject> found;
  std::lock_guard<std::mutex> lock(mutex_);
  auto table = tables_.find(typeIdentifier);
  if (table == tables_.end()) return found;
  auto take = [&](const StoredObject& stored) {
    if (!filter || filter(*stored.object, *stored.owner)) found.push_back(stored);
  };
  if (unbounded(within)) {
    for (const auto& stored : table->second.objects) {
      if (stored.object) take(stored);
    }
    return found;
  }
  table->second.probeFirstAbove(0, filter);
  for (std::uint64_t anchor : table->second.anchorsWithin(within, 0)) {
    if (const StoredObject* stored = table->second.objectAt(anchor)) take(*stored);
  }
  return found;
}

HealthDatabase::Changes HealthDatabase::changesSince(const std::string& typeIdentifier,
                                                     std::uint64_t anchor, std::size_t limit,
                                                     const std::vector<DateBounds>& within,
                                                     const Filter& filter) const {
  Changes changes;
  std::lock_guard<std::mutex> lock(mutex_);
  changes.newAnchor = std::max(anchor, lastAnchor_);
  auto table = tables_.find(typeIdentifier);
  if (table == tables_.end()) return changes;
  if (unbounded(within)) {
    allChangesLocked(table->second, anchor, limit, filter, changes);
  } else {
    boundedChangesLocked(table->second, anchor, limit, within, filter, changes);
  }
  return changes;
}

bool HealthDatabase::takeChange(const StoredObject* object, const StoredDeletion* deletion,
                                std::size_t limit, const Filter& filter, Changes& changes) {
  if (object != nullptr) {
    if (filter && !filter(*object->object, *object->owner)) return false;
    changes.added.push_back(*object);
  } else {
    if (filter && !filter(*deletion->former, *deletion->owner)) return false;
    changes.deleted.push_back(*deletion);
  }
  return limit != 0 && changes.added.size() + changes.deleted.size() == limit;
}

void HealthDatabase::cutAt(const TypeTable& table, std::uint64_t last, Changes& changes) {
  if (table.hasAnchorAbove(last)) changes.newAnchor = last;
}

void HealthDatabase::allChangesLocked(const TypeTable& table, std::uint64_t anchor,
                                      std::size_t limit, const Filter& filter, Changes& changes) {
  auto object = std::upper_bound(
      table.objects.begin(), table.objects.end(), anchor,
      [](std::uint64_t value, const StoredObject& entry) { return value < entry.anchor; });
  auto deletion = std::upper_bound(
      table.deletions.begin(), table.deletions.end(), anchor,
      [](std::uint64_t value, const StoredDeletion& entry) { return value < entry.anchor; });
  // Merge the two anchor-ordered sequences so a limit cuts at one anchor for both.
  while (object != table.objects.end() || deletion != table.deletions.end()) {
    const bool takeObject = deletion == table.deletions.end() ||
                            (object != table.objects.end() && object->anchor < deletion->anchor);
    const StoredObject* one = takeObject && object->object ? &*object : nullptr;
    const StoredDeletion* gone = takeObject ? nullptr : &*deletion;
    const std::uint64_t at = takeObject ? (object++)->anchor : (deletion++)->anchor;
    if ((one || gone) && takeChange(one, gone, limit, filter, changes)) {
      cutAt(table, at, changes);
      return;
    }
  }
}

void HealthDatabase::boundedChangesLocked(const TypeTable& table, std::uint64_t anchor,
                                          std::size_t limit, const std::vector<DateBounds>& within,
                                          const Filter& filter, Changes& changes) {
  table.probeFirstAbove(anchor, filter);
  for (std::uint64_t candidate : table.anchorsWithin(within, anchor)) {
    const StoredObject* object = table.objectAt(candidate);
    const StoredDeletion* deletion = object ? nullptr : table.deletionAt(candidate);
    if (takeChange(object, deletion, limit, filter, changes)) {
      cutAt(table, candidate, changes);
      return;
    }
  }
}

const std::string* HealthDatabase::internLocked(const std::string& text) {
  return &*strings_.insert(text).first;
}

std::map<std::string, HealthDatabase::SourceInfo> HealthDatabase::sources() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return sources_;
}

}  // namespace platform::healthkit
