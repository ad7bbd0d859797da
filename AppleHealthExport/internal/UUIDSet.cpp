#include "AppleHealthExport/internal/UUIDSet.h"

#include <cstring>
#include <utility>

namespace apple_health_export {

namespace {

constexpr std::size_t kFirstCapacity = 1024;

bool isEmpty(const std::array<std::uint64_t, 2>& slot) { return slot[0] == 0 && slot[1] == 0; }

}  // namespace

UUIDSet::Slot UUIDSet::slotFor(const NSUUID& uuid) {
  Slot slot;
  std::memcpy(slot.data(), uuid.bytes().data(), sizeof slot);
  return slot;
}

std::size_t UUIDSet::home(const Slot& slot) const {
  // Derived UUIDs are random already, but not every UUID is: mix both halves.
  const std::uint64_t hash = (slot[0] ^ (slot[1] * 0x9E3779B97F4A7C15ull)) * 0xBF58476D1CE4E5B9ull;
  return static_cast<std::size_t>(hash ^ (hash >> 32)) & (slots_.size() - 1);
}

std::size_t UUIDSet::find(const Slot& slot) const {
  const std::size_t mask = slots_.size() - 1;
  std::size_t at = home(slot);
  while (!isEmpty(slots_[at]) && slots_[at] != slot) at = (at + 1) & mask;
  return at;
}

bool UUIDSet::contains(const NSUUID& uuid) const {
  const Slot slot = slotFor(uuid);
  if (isEmpty(slot)) return hasNil_;
  return !slots_.empty() && !isEmpty(slots_[find(slot)]);
}

void UUIDSet::prefetch(const NSUUID& uuid) const {
  if (!slots_.empty()) __builtin_prefetch(&slots_[home(slotFor(uuid))]);
}

bool UUIDSet::insert(const NSUUID& uuid) {
  const Slot slot = slotFor(uuid);
  if (isEmpty(slot)) return !std::exchange(hasNil_, true);
  if ((size_ + 1) * 4 > slots_.size() * 3) grow();
  Slot& place = slots_[find(slot)];
  if (!isEmpty(place)) return false;
  place = slot;
  ++size_;
  return true;
}

void UUIDSet::grow() {
  decltype(slots_) old(slots_.empty() ? kFirstCapacity : slots_.size() * 2);
  old.swap(slots_);
  for (const Slot& slot : old) {
    if (!isEmpty(slot)) slots_[find(slot)] = slot;
  }
}

}  // namespace apple_health_export
