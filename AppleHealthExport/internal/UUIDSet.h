#pragma once

// UUIDSet: the UUIDs a read has seen, kept as their 16 bytes in one open-addressed table (linear
// probing, at most three quarters full, in huge pages once large), so a lookup costs one or two
// cache lines and no allocation. It only grows: a read never forgets a UUID. A large set's lookups
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

#include "AppleHealthExport/internal/HugePageAllocator.h"
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

  static Slot slotFor(const NSUUID& uuid);
  std::size_t home(const Slot& slot) const;
  // The slot holding `slot`, or the empty one where it would go.
  std::size_t find(const Slot& slot) const;
  void grow();

  std::vector<Slot, HugePageAllocator<Slot>> slots_;
  std::size_t size_ = 0;  // in slots_
  bool hasNil_ = false;   // the all-zero UUID, which cannot be told from an empty slot
};

}  // namespace apple_health_export
