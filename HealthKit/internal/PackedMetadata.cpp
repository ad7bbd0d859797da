#include "HealthKit/internal/PackedMetadata.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <functional>
#include <mutex>
#include <unordered_set>

namespace platform::healthkit {

namespace {

// One copy of every metadata key the process has seen; never shrinks (keys are few).
const std::string* sharedKey(const std::string& key) {
  static std::mutex mutex;                      // guards keys
  static std::unordered_set<std::string> keys;  // nodes never move, so the pointers stay good
  std::lock_guard<std::mutex> lock(mutex);
  return &*keys.insert(key).first;
}

bool sameValue(const NSAny& a, const NSAny& b) {
  if (a.kind() != b.kind()) return false;
  switch (a.kind()) {
    case NSAny::Kind::Nil:
      return true;
    case NSAny::Kind::Number:
      if (std::strcmp(a.objCType(), b.objCType()) != 0) return false;
      return std::strcmp(a.objCType(), "d") == 0 ? std::bit_cast<std::uint64_t>(a.doubleValue()) ==
                                                       std::bit_cast<std::uint64_t>(b.doubleValue())
                                                 : a.integerValue() == b.integerValue();
    case NSAny::Kind::String:
      return a.stringValue() == b.stringValue();
    case NSAny::Kind::Date:
      return std::bit_cast<std::uint64_t>(a.dateValue().timeIntervalSinceReferenceDate()) ==
             std::bit_cast<std::uint64_t>(b.dateValue().timeIntervalSinceReferenceDate());
    case NSAny::Kind::Object:
      return a.object() == b.object();
  }
  return false;
}

}  // namespace

PackedMetadata::PackedMetadata(const NSDictionary& dictionary) {
  entries_.reserve(dictionary.count());
  for (const auto& [key, value] : dictionary.entries()) entries_.push_back({sharedKey(key), value});
}

std::shared_ptr<const NSDictionary> PackedMetadata::dictionary() const {
  NSDictionary::Storage storage;
  for (const Entry& entry : entries_) storage.emplace_hint(storage.end(), *entry.key, entry.value);
  return NSDictionary::dictionaryWithDictionary(std::move(storage));
}

std::size_t PackedMetadata::hash() const {
  std::size_t result = entries_.size();
  for (const Entry& entry : entries_) {
    result = result * 31 + std::hash<const std::string*>{}(entry.key);
    result = result * 31 + entry.value.hash();
  }
  return result;
}

bool PackedMetadata::isSame(const PackedMetadata& other) const {
  if (entries_.size() != other.entries_.size()) return false;
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    if (entries_[i].key != other.entries_[i].key ||
        !sameValue(entries_[i].value, other.entries_[i].value)) {
      return false;
    }
  }
  return true;
}

}  // namespace platform::healthkit
