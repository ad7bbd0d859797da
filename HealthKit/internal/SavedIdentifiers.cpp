#include "HealthKit/internal/SavedIdentifiers.h"

#include <cstring>
#include <stdexcept>

namespace platform::healthkit {

std::uint64_t SavedIdentifiers::hashOf(const NSUUID& uuid) {
  std::uint64_t high = 0;
  std::uint64_t low = 0;
  std::memcpy(&high, uuid.bytes().data(), sizeof high);
  std::memcpy(&low, uuid.bytes().data() + sizeof high, sizeof low);
  // Mixed, as UUIDs made from names or counters need not be random in every bit.
  std::uint64_t hash = high ^ (low * 0x9E3779B97F4A7C15u);
  hash ^= hash >> 33;
  hash *= 0xFF51AFD7ED558CCDu;
  hash ^= hash >> 33;
  hash *= 0xC4CEB9FE1A85EC53u;
  return hash ^ (hash >> 33);
}

SavedIdentifiers::Slot SavedIdentifiers::slotFor(std::uint32_t tag, Place place) {
  if (place.anchor >> 48 != 0) throw std::length_error("SavedIdentifiers: anchor out of range");
  return Slot{tag, static_cast<std::uint32_t>(place.anchor),
              static_cast<std::uint16_t>(place.anchor >> 32), place.table};
}

void SavedIdentifiers::put(std::vector<Slot>& slots, const Slot& slot) {
  const std::size_t mask = slots.size() - 1;
  std::size_t i = slot.tag & mask;
  while (slots[i].tag != 0) i = (i + 1) & mask;
  slots[i] = slot;
}

void SavedIdentifiers::grow(Table& table) {
  std::vector<Slot> larger(table.slots.empty() ? 16 : table.slots.size() * 2);
  for (const Slot& slot : table.slots) {
    if (slot.tag != 0) put(larger, slot);
  }
  table.slots = std::move(larger);
}

void SavedIdentifiers::insert(const NSUUID& uuid, Place place) {
  const std::uint64_t hash = hashOf(uuid);
  Table& table = tables_[tableOf(hash)];
  if ((table.size + 1) * 4 > table.slots.size() * 3) grow(table);
  put(table.slots, slotFor(tagOf(hash), place));
  ++table.size;
}

}  // namespace platform::healthkit
