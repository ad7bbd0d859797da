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

bool isWatch(const HKObject& object) {
  const auto& revision = object.sourceRevision();
  if (revision && revision->productType() && revision->productType()->rfind("Watch", 0) == 0) {
    return true;
  }
  const auto& device = object.device();
  return device && device->model() && device->model()->find("Watch") != std::string::npos;
}

}  // namespace

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
    if (everSaved_.count(uuid) != 0 || !batch.insert(uuid).second) {
      result.failure = "Object " + uuid.UUIDString() + " has already been saved";
      return result;
    }
  }
  for (const auto& object : all) {
    StoredObject stored{object, typeIdentifierOf(*object), owner, ++lastAnchor_};
    everSaved_.insert(object->UUID());
    index_[object->UUID()] = {stored.typeIdentifier, stored.anchor};
    tables_[stored.typeIdentifier].objects.emplace(stored.anchor, stored);
    if (sources_.count(owner) == 0) {
      sources_[owner] = SourceInfo{sources_.size(), isWatch(*object)};
    }
    result.change.added.push_back(std::move(stored));
  }
  return result;
}

void HealthDatabase::eraseLocked(const StoredObject& stored, DatabaseChange& change) {
  for (const auto& object : withMembers(stored.object)) {
    auto found = index_.find(object->UUID());
    if (found == index_.end()) continue;  // a member deleted on its own before
    TypeTable& table = tables_[found->second.first];
    auto entry = table.objects.find(found->second.second);
    StoredDeletion deletion{
        HKDeletedObject::deletedObjectWithUUID(object->UUID(), object->metadata()),
        entry->second.object, entry->second.typeIdentifier, entry->second.owner, ++lastAnchor_};
    table.objects.erase(entry);
    index_.erase(found);
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
    auto found = index_.find(object->UUID());
    if (found == index_.end()) {
      result.failure = "Object " + object->UUID().UUIDString() + " is not in the health database";
      return result;
    }
    const StoredObject& stored = tables_[found->second.first].objects.at(found->second.second);
    if (stored.owner != owner) {
      result.notOwned = true;
      result.failure = "Object " + object->UUID().UUIDString() + " was saved by " + stored.owner +
                       ", not by " + owner;
      return result;
    }
    doomed.push_back(stored);
  }
  for (const auto& stored : doomed) eraseLocked(stored, result.change);
  return result;
}

std::vector<StoredObject> HealthDatabase::objects(const std::string& typeIdentifier,
                                                  const Filter& filter) const {
  std::vector<StoredObject> found;
  std::lock_guard<std::mutex> lock(mutex_);
  auto table = tables_.find(typeIdentifier);
  if (table == tables_.end()) return found;
  for (const auto& [anchor, stored] : table->second.objects) {
    if (!filter || filter(*stored.object, stored.owner)) found.push_back(stored);
  }
  return found;
}

HealthDatabase::Changes HealthDatabase::changesSince(const std::string& typeIdentifier,
                                                     std::uint64_t anchor, std::size_t limit,
                                                     const Filter& filter) const {
  Changes changes;
  std::lock_guard<std::mutex> lock(mutex_);
  changes.newAnchor = std::max(anchor, lastAnchor_);
  auto table = tables_.find(typeIdentifier);
  if (table == tables_.end()) return changes;
  const auto& objects = table->second.objects;
  const auto& deletions = table->second.deletions;
  auto object = objects.upper_bound(anchor);
  auto deletion = std::upper_bound(
      deletions.begin(), deletions.end(), anchor,
      [](std::uint64_t value, const StoredDeletion& entry) { return value < entry.anchor; });
  std::size_t count = 0;
  // Merge the two anchor-ordered sequences so a limit cuts at one anchor for both.
  while (object != objects.end() || deletion != deletions.end()) {
    if (limit != 0 && count == limit) {
      return changes;  // newAnchor already points at the last one returned
    }
    const bool takeObject = deletion == deletions.end() ||
                            (object != objects.end() && object->first < deletion->anchor);
    if (takeObject) {
      const StoredObject& stored = object->second;
      if (!filter || filter(*stored.object, stored.owner)) {
        changes.added.push_back(stored);
        ++count;
        if (limit != 0 && count == limit) changes.newAnchor = stored.anchor;
      }
      ++object;
    } else {
      if (!filter || filter(*deletion->former, deletion->owner)) {
        changes.deleted.push_back(*deletion);
        ++count;
        if (limit != 0 && count == limit) changes.newAnchor = deletion->anchor;
      }
      ++deletion;
    }
  }
  changes.newAnchor = std::max(anchor, lastAnchor_);
  return changes;
}

std::map<std::string, HealthDatabase::SourceInfo> HealthDatabase::sources() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return sources_;
}

}  // namespace platform::healthkit
