#pragma once

// SavedIdentifiers: where the object with each UUID ever saved is kept (a type table's number
// and the object's anchor), or, once it is deleted, its deletion. A UUID once saved may never
// be saved again, so entries are moved but never removed.
//
// The UUIDs themselves are not kept here but where the places point (the database's rows): a
// slot holds 32 bits of the UUID's hash and the place, 12 bytes in all, and the caller confirms a
// match by the UUID found at the place. The slots are spread over many open-addressed tables
// (linear probing, at most three quarters full) by the hash, and a table that fills grows
// alone, so growing never holds two copies of the whole set.
//
// Not thread-safe: HealthDatabase guards it with its own lock.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "Foundation/NSUUID.h"

namespace platform::healthkit {

class SavedIdentifiers {
 public:
  struct Place {
    std::uint16_t table = 0;
    std::uint64_t anchor = 0;  // below 2^48
  };

  SavedIdentifiers() : tables_(kTables) {}

  // The place of `uuid`, or nullopt; `uuidAt(place)` gives the UUID kept at a place.
  template <class UUIDAt>
  std::optional<Place> find(const NSUUID& uuid, const UUIDAt& uuidAt) const {
    const std::uint64_t hash = hashOf(uuid);
    const Table& table = tables_[tableOf(hash)];
    if (table.slots.empty()) return std::nullopt;
    const std::uint32_t tag = tagOf(hash);
    const std::size_t mask = table.slots.size() - 1;
    for (std::size_t i = tag & mask; table.slots[i].tag != 0; i = (i + 1) & mask) {
      const Slot& slot = table.slots[i];
      if (slot.tag == tag && uuidAt(placeOf(slot)) == uuid) return placeOf(slot);
    }
    return std::nullopt;
  }

  // Records a UUID that is not there yet.
  void insert(const NSUUID& uuid, Place place);

  // Moves a UUID that is there (found through `uuidAt` as by find()) to another place.
  template <class UUIDAt>
  void move(const NSUUID& uuid, Place place, const UUIDAt& uuidAt) {
    const std::uint64_t hash = hashOf(uuid);
    Table& table = tables_[tableOf(hash)];
    if (table.slots.empty()) return;
    const std::uint32_t tag = tagOf(hash);
    const std::size_t mask = table.slots.size() - 1;
    for (std::size_t i = tag & mask; table.slots[i].tag != 0; i = (i + 1) & mask) {
      Slot& slot = table.slots[i];
      if (slot.tag == tag && uuidAt(placeOf(slot)) == uuid) {
        slot = slotFor(tag, place);
        return;
      }
    }
  }

 private:
  struct Slot {
    std::uint32_t tag = 0;  // 0: empty
    std::uint32_t anchorLow = 0;
    std::uint16_t anchorHigh = 0;
    std::uint16_t table = 0;
  };
  struct Table {
    std::vector<Slot> slots;  // a power of two of them, or none yet
    std::size_t size = 0;
  };
  static constexpr std::size_t kTables = 256;

  static std::uint64_t hashOf(const NSUUID& uuid);
  static std::size_t tableOf(std::uint64_t hash) { return hash >> 56; }
  // Never 0; its low bits place the slot in its table, so a table grows without the UUIDs.
  static std::uint32_t tagOf(std::uint64_t hash) {
    const auto tag = static_cast<std::uint32_t>(hash);
    return tag == 0 ? 1 : tag;
  }
  static Place placeOf(const Slot& slot) {
    return {slot.table, (std::uint64_t{slot.anchorHigh} << 32) | slot.anchorLow};
  }
  static Slot slotFor(std::uint32_t tag, Place place);
  static void put(std::vector<Slot>& slots, const Slot& slot);
  static void grow(Table& table);

  std::vector<Table> tables_;
};

}  // namespace platform::healthkit
