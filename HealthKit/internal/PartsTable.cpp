#include "HealthKit/internal/PartsTable.h"

#include <functional>

namespace platform::healthkit {

// The kind goes in as a small number in a pointer's place; no part can be that address.
PartsTable::Key PartsTable::keyOf(const StoredParts& parts) {
  return {reinterpret_cast<const void*>(static_cast<std::uintptr_t>(parts.kind)),
          parts.owner,
          parts.type.get(),
          parts.unit.get(),
          parts.sourceRevision.get(),
          parts.device.get(),
          parts.metadata.get()};
}

std::size_t PartsTable::KeyHash::operator()(const Key& key) const {
  std::size_t hash = 0;
  for (const void* part : key) {
    hash = hash * 1000003u ^ std::hash<const void*>{}(part);
  }
  return hash;
}

std::uint32_t PartsTable::intern(StoredParts parts) {
  const auto [found, added] =
      indices_.emplace(keyOf(parts), static_cast<std::uint32_t>(parts_.size()));
  if (added) parts_.push_back(std::move(parts));
  return found->second;
}

}  // namespace platform::healthkit
