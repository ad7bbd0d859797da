#pragma once

// UUIDSet: the UUIDs a read has seen, kept as their 16 bytes in open-addressed tables (linear
// probing, each at most three quarters full), so a lookup costs one or two cache lines and no
// allocation. The UUIDs are spread over many small tables by their hash, and a table that fills
// grows alone: growing never holds two copies of the whole set, and the small buffers come from
// the heap like any others. It only grows: a read never forgets a UUID. A large set's lookups
// wait for memory; prefetch() starts that wait early, while the caller does other work.
//
// A value; not thread-safe.
//
//   UUIDSet seen;
//   if (!seen.insert(uuid)) skip("duplicate");

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Foundation/NSUUID.h"

namespace apple_health_export {

class UUIDSet {
 public:
  bool contains(const NSUUID& uuid) const;
  // False when it was there already.
  bool insert(const NSUUID& uuid);
  // Has the processor start loading where `uuid` would be; changes nothing.
  void prefetch(const NSUUID& uuid) const;
  std::size_t size() const { return size_ + (hasNil_ ? 1 : 0); }

 private:
  using Slot = std::array<std::uint64_t, 2>;  // all zero: empty
  struct Table {
    std::vector<Slot> slots;  // a power of two of them, or none yet
    std::size_t size = 0;
  };

  static constexpr int kTableBits = 12;

  static Slot slotFor(const NSUUID& uuid);
  static std::uint64_t hash(const Slot& slot);
  static std::size_t tableIndex(std::uint64_t hash) { return hash >> (64 - kTableBits); }
  // Where `slot` is in `table`, or the empty place where it would go.
  static std::size_t find(const Table& table, const Slot& slot, std::uint64_t hash);
  static void grow(Table& table);

  std::vector<Table> tables_ = std::vector<Table>(std::size_t{1} << kTableBits);
  std::size_t size_ = 0;  // in tables_
  bool hasNil_ = false;   // the all-zero UUID, which cannot be told from an empty slot
};

}  // namespace apple_health_export
