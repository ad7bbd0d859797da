#include "AppleHealthExport/internal/UUIDSet.h"

#include <cstring>
#include <utility>

namespace apple_health_export {

namespace {

constexpr std::size_t kFirstSlots = 8;

bool isEmpty(const std::array<std::uint64_t, 2>& slot) { return slot[0] == 0 && slot[1] == 0; }

}  // namespace

UUIDSet::Slot UUIDSet::slotFor(const NSUUID& uuid) {
  Slot slot;
  std::memcpy(slot.data(), uuid.bytes().data(), sizeof slot);
  return slot;
}

std::uint64_t UUIDSet::hash(const Slot& slot) {
  // Derived UUIDs are random already, but not every UUID is: mix both halves.
  const std::uint64_t mixed = (slot[0] ^ (slot[1] * 0x9E3779B97F4A7C15ull)) * 0xBF58476D1CE4E5B9ull;
  return mixed ^ (mixed >> 29);
}

std::size_t UUIDSet::find(const Table& table, const Slot& slot, std::uint64_t hash) {
  const std::size_t mask = table.slots.size() - 1;
  std::size_t at = static_cast<std::size_t>(hash) & mask;
  while (!isEmpty(table.slots[at]) && table.slots[at] != slot) at = (at + 1) & mask;
  return at;
}

bool UUIDSet::contains(const NSUUID& uuid) const {
  const Slot slot = slotFor(uuid);
  if (isEmpty(slot)) return hasNil_;
  const std::uint64_t h = hash(slot);
  const Table& table = tables_[tableIndex(h)];
  return !table.slots.empty() && !isEmpty(table.slots[find(table, slot, h)]);
}

void UUIDSet::prefetch(const NSUUID& uuid) const {
  const std::uint64_t h = hash(slotFor(uuid));
  const Table& table = tables_[tableIndex(h)];
  if (!table.slots.empty()) {
    __builtin_prefetch(&table.slots[static_cast<std::size_t>(h) & (table.slots.size() - 1)]);
  }
}

bool UUIDSet::insert(const NSUUID& uuid) {
  const Slot slot = slotFor(uuid);
  if (isEmpty(slot)) return !std::exchange(hasNil_, true);
  const std::uint64_t h = hash(slot);
  Table& table = tables_[tableIndex(h)];
  if ((table.size + 1) * 4 > table.slots.size() * 3) grow(table);
  Slot& place = table.slots[find(table, slot, h)];
  if (!isEmpty(place)) return false;
  place = slot;
  ++table.size;
  ++size_;
  return true;
}

void UUIDSet::grow(Table& table) {
  std::vector<Slot> old(table.slots.empty() ? kFirstSlots : table.slots.size() * 2);
  old.swap(table.slots);
  for (const Slot& slot : old) {
    if (!isEmpty(slot)) table.slots[find(table, slot, hash(slot))] = slot;
  }
}

}  // namespace apple_health_export
