#include "HealthKit/internal/HealthDatabase.h"

#include <algorithm>
#include <stdexcept>

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

// The row with the anchor in rows sorted by anchor, or nullptr.
const StoredRow* rowAt(const std::deque<StoredRow>& rows, std::uint64_t anchor) {
  auto found = std::lower_bound(
      rows.begin(), rows.end(), anchor,
      [](const StoredRow& entry, std::uint64_t value) { return entry.anchor < value; });
  if (found == rows.end() || found->anchor != anchor) return nullptr;
  return &*found;
}

std::deque<StoredRow>::const_iterator firstAbove(const std::deque<StoredRow>& rows,
                                                 std::uint64_t anchor) {
  return std::upper_bound(
      rows.begin(), rows.end(), anchor,
      [](std::uint64_t value, const StoredRow& entry) { return value < entry.anchor; });
}

}  // namespace

const StoredRow* HealthDatabase::TypeTable::objectAt(std::uint64_t anchor) const {
  const StoredRow* row = rowAt(objects, anchor);
  return row && !row->erased() ? row : nullptr;
}

const StoredRow* HealthDatabase::TypeTable::deletionAt(std::uint64_t anchor) const {
  return rowAt(deletions, anchor);
}

std::vector<HealthDatabase::TypeTable::Hit> HealthDatabase::TypeTable::rowsWithin(
    const std::vector<DateBounds>& ranges, std::uint64_t after) const {
  std::vector<Hit> rows;
  for (const DateBounds& range : ranges) {
    // A sample ending inside the range started at most `longest` seconds before it.
    const double from = std::max(range.startFrom, range.endFrom - longest);
    const double to = std::min(range.startTo, range.endTo);
    if (!(from <= to)) continue;
    byDate.forEachStartingWithin(from, to, [&](const DateIndex::Entry& entry) {
      if (entry.anchor <= after) return;
      Hit hit{objectAt(entry.anchor), false};
      if (hit.row == nullptr) hit = Hit{deletionAt(entry.anchor), true};
      if (hit.row != nullptr && range.contains(hit.row->start, hit.row->end)) rows.push_back(hit);
    });
    if (!inStartOrder) continue;
    auto row =
        std::lower_bound(objects.begin(), objects.end(), from,
                         [](const StoredRow& entry, double value) { return entry.start < value; });
    for (; row != objects.end() && row->start <= to; ++row) {
      if (!row->erased() && row->anchor > after && range.contains(row->start, row->end)) {
        rows.push_back(Hit{&*row, false});
      }
    }
  }
  std::sort(rows.begin(), rows.end(),
            [](const Hit& a, const Hit& b) { return a.row->anchor < b.row->anchor; });
  rows.erase(std::unique(rows.begin(), rows.end(),
                         [](const Hit& a, const Hit& b) { return a.row == b.row; }),
             rows.end());
  return rows;
}

void HealthDatabase::TypeTable::add(const StoredRow& row) {
  if (inStartOrder && !objects.empty() && row.start < objects.back().start) {
    for (const StoredRow& earlier : objects) {
      if (!earlier.erased()) byDate.insert(DateIndex::Entry{earlier.start, earlier.anchor});
    }
    inStartOrder = false;
  }
  objects.push_back(row);
  if (!inStartOrder) byDate.insert(DateIndex::Entry{row.start, row.anchor});
  longest = std::max(longest, row.end - row.start);
}

void HealthDatabase::TypeTable::erase(std::deque<StoredRow>::iterator live, const StoredRow& gone) {
  if (!inStartOrder) byDate.erase(DateIndex::Entry{live->start, live->anchor});
  byDate.insert(DateIndex::Entry{gone.start, gone.anchor});
  live->parts = StoredRow::kErased;
  // Dropping the deleted objects' rows now and then keeps deletions cheap and the table lean.
  if (++erased > objects.size() / 2) {
    std::erase_if(objects, [](const StoredRow& one) { return one.erased(); });
    erased = 0;
  }
  deletions.push_back(gone);
}

bool HealthDatabase::TypeTable::hasAnchorAbove(std::uint64_t anchor) const {
  // A deleted object's deletion has a larger anchor than the object, so the last entries of
  // the two sequences tell, deleted or not.
  return (!objects.empty() && objects.back().anchor > anchor) ||
         (!deletions.empty() && deletions.back().anchor > anchor);
}

std::shared_ptr<const HKObject> HealthDatabase::objectOf(const TypeTable& table,
                                                         const StoredRow& row) const {
  const StoredParts& parts = parts_.at(row.parts);
  if (parts.kind == StoredParts::Kind::whole) return table.whole.at(std::uint64_t{row.anchor});
  return row.restore(parts);
}

NSUUID HealthDatabase::uuidAt(SavedIdentifiers::Place place) const {
  const TypeTable& table = *tableList_[place.table];
  const StoredRow* row = table.objectAt(place.anchor);
  if (row == nullptr) row = table.deletionAt(place.anchor);
  return row != nullptr ? row->uuid : NSUUID(NSUUID::Bytes{});
}

const StoredRow* HealthDatabase::liveRowLocked(const NSUUID& uuid) const {
  const auto place = saved_.find(uuid, [this](SavedIdentifiers::Place at) { return uuidAt(at); });
  if (!place) return nullptr;
  return tableList_[place->table]->objectAt(place->anchor);
}

HealthDatabase::TypeTable& HealthDatabase::tableLocked(const std::string& typeIdentifier) {
  auto [found, added] = tables_.try_emplace(typeIdentifier);
  if (added) {
    if (tableList_.size() > std::numeric_limits<std::uint16_t>::max()) {
      throw std::length_error("HealthDatabase: too many types");
    }
    found->second.typeIdentifier = internLocked(typeIdentifier);
    found->second.number = static_cast<std::uint16_t>(tableList_.size());
    tableList_.push_back(&found->second);
  }
  return found->second;
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
  const auto uuidAtPlace = [this](SavedIdentifiers::Place at) { return uuidAt(at); };
  for (const auto& object : all) {
    const NSUUID& uuid = object->UUID();
    if (saved_.find(uuid, uuidAtPlace) || !batch.insert(uuid).second) {
      result.failure = "Object " + uuid.UUIDString() + " has already been saved";
      return result;
    }
  }
  const std::string* savedBy = internLocked(owner);
  for (const auto& object : all) {
    TypeTable& table = tableLocked(typeIdentifierOf(*object));
    bool whole = false;
    const StoredRow row = StoredRow::of(*object, savedBy, ++lastAnchor_, parts_, whole);
    if (whole) table.whole.emplace(std::uint64_t{row.anchor}, object);
    saved_.insert(row.uuid, {table.number, row.anchor});
    table.add(row);
    if (sources_.count(owner) == 0) {
      sources_[owner] = SourceInfo{sources_.size(), isWatch(*object)};
    }
    result.change.added.push_back(StoredObject{object, table.typeIdentifier, savedBy, row.anchor});
  }
  return result;
}

void HealthDatabase::eraseLocked(const NSUUID& uuid, DatabaseChange& change) {
  const auto place = saved_.find(uuid, [this](SavedIdentifiers::Place at) { return uuidAt(at); });
  if (!place) return;
  TypeTable& table = *tableList_[place->table];
  auto live = std::lower_bound(
      table.objects.begin(), table.objects.end(), place->anchor,
      [](const StoredRow& entry, std::uint64_t value) { return entry.anchor < value; });
  // A member deleted on its own has moved to its deletion's place.
  if (live == table.objects.end() || live->anchor != place->anchor || live->erased()) return;
  const auto former = objectOf(table, *live);
  StoredRow gone = *live;
  gone.anchor = ++lastAnchor_;
  if (auto kept = table.whole.find(std::uint64_t{live->anchor}); kept != table.whole.end()) {
    table.whole.erase(kept);
    table.whole.emplace(std::uint64_t{gone.anchor}, former);
  }
  table.erase(live, gone);
  saved_.move(uuid, {table.number, gone.anchor},
              [this](SavedIdentifiers::Place at) { return uuidAt(at); });
  change.deleted.push_back(
      StoredDeletion{HKDeletedObject::deletedObjectWithUUID(uuid, former->metadata()), former,
                     table.typeIdentifier, parts_.at(gone.parts).owner, gone.anchor});
  if (auto correlation = std::dynamic_pointer_cast<const HKCorrelation>(former)) {
    for (const auto& member : correlation->objects()) eraseLocked(member->UUID(), change);
  }
}

HealthDatabase::DeleteResult HealthDatabase::remove(
    const std::vector<std::shared_ptr<const HKObject>>& objects, const std::string& owner) {
  DeleteResult result;
  std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& object : objects) {
    const StoredRow* row = liveRowLocked(object->UUID());
    if (row == nullptr) {
      result.failure = "Object " + object->UUID().UUIDString() + " is not in the health database";
      return result;
    }
    if (ownerOf(*row) != owner) {
      result.notOwned = true;
      result.failure = "Object " + object->UUID().UUIDString() + " was saved by " + ownerOf(*row) +
                       ", not by " + owner;
      return result;
    }
  }
  for (const auto& object : objects) eraseLocked(object->UUID(), result.change);
  return result;
}

bool HealthDatabase::takeObject(const TypeTable& table, const StoredRow& row, const Filter& filter,
                                std::vector<StoredObject>& into) const {
  auto object = objectOf(table, row);
  const std::string* owner = parts_.at(row.parts).owner;
  if (filter && !filter(*object, *owner)) return false;
  into.push_back(StoredObject{std::move(object), table.typeIdentifier, owner, row.anchor});
  return true;
}

bool HealthDatabase::takeDeletion(const TypeTable& table, const StoredRow& row,
                                  const Filter& filter, std::vector<StoredDeletion>& into) const {
  auto former = objectOf(table, row);
  const std::string* owner = parts_.at(row.parts).owner;
  if (filter && !filter(*former, *owner)) return false;
  auto deleted = HKDeletedObject::deletedObjectWithUUID(row.uuid, former->metadata());
  into.push_back(StoredDeletion{std::move(deleted), std::move(former), table.typeIdentifier, owner,
                                row.anchor});
  return true;
}

void HealthDatabase::probeFirstAbove(const TypeTable& table, std::uint64_t anchor,
                                     const Filter& filter) const {
  if (!filter) return;
  auto object = firstAbove(table.objects, anchor);
  while (object != table.objects.end() && object->erased()) ++object;
  auto deletion = firstAbove(table.deletions, anchor);
  const bool takeObject = object != table.objects.end() &&
                          (deletion == table.deletions.end() || object->anchor < deletion->anchor);
  const StoredRow* row = takeObject                          ? &*object
                         : deletion != table.deletions.end() ? &*deletion
                                                             : nullptr;
  if (row != nullptr) filter(*objectOf(table, *row), ownerOf(*row));
}

std::vector<StoredObject> HealthDatabase::objects(const std::string& typeIdentifier,
                                                  const std::vector<DateBounds>& within,
                                                  const Filter& filter) const {
  std::vector<StoredObject> found;
  std::lock_guard<std::mutex> lock(mutex_);
  auto table = tables_.find(typeIdentifier);
  if (table == tables_.end()) return found;
  if (unbounded(within)) {
    for (const StoredRow& row : table->second.objects) {
      if (!row.erased()) takeObject(table->second, row, filter, found);
    }
    return found;
  }
  probeFirstAbove(table->second, 0, filter);
  for (const auto& hit : table->second.rowsWithin(within, 0)) {
    if (!hit.deleted) takeObject(table->second, *hit.row, filter, found);
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

bool HealthDatabase::takeChange(const TypeTable& table, const StoredRow& row, bool deleted,
                                std::size_t limit, const Filter& filter, Changes& changes) const {
  const bool taken = deleted ? takeDeletion(table, row, filter, changes.deleted)
                             : takeObject(table, row, filter, changes.added);
  return taken && limit != 0 && changes.added.size() + changes.deleted.size() == limit;
}

void HealthDatabase::cutAt(const TypeTable& table, std::uint64_t last, Changes& changes) {
  if (table.hasAnchorAbove(last)) changes.newAnchor = last;
}

void HealthDatabase::allChangesLocked(const TypeTable& table, std::uint64_t anchor,
                                      std::size_t limit, const Filter& filter,
                                      Changes& changes) const {
  auto object = firstAbove(table.objects, anchor);
  auto deletion = firstAbove(table.deletions, anchor);
  // Merge the two anchor-ordered sequences so a limit cuts at one anchor for both.
  while (object != table.objects.end() || deletion != table.deletions.end()) {
    const bool takeObject = deletion == table.deletions.end() ||
                            (object != table.objects.end() && object->anchor < deletion->anchor);
    const StoredRow& row = takeObject ? *object++ : *deletion++;
    if (row.erased()) continue;
    if (takeChange(table, row, !takeObject, limit, filter, changes)) {
      cutAt(table, row.anchor, changes);
      return;
    }
  }
}

void HealthDatabase::boundedChangesLocked(const TypeTable& table, std::uint64_t anchor,
                                          std::size_t limit, const std::vector<DateBounds>& within,
                                          const Filter& filter, Changes& changes) const {
  probeFirstAbove(table, anchor, filter);
  for (const auto& hit : table.rowsWithin(within, anchor)) {
    if (takeChange(table, *hit.row, hit.deleted, limit, filter, changes)) {
      cutAt(table, hit.row->anchor, changes);
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
