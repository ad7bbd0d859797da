#pragma once

// StoredRow: one object, or one deletion, as HealthDatabase keeps it: 52 bytes. A quantity or
// category sample is kept as its numbers here and its shared parts (PartsTable); restore()
// rebuilds it, equal in every value to the sample that was saved. Any other object (a
// correlation, a sample that belongs to one, a workout) is kept whole beside the row, which
// then holds only its UUID, dates and anchor.
//
// A plain value; not thread-safe (HealthDatabase guards its rows with its own lock).

#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "Foundation/NSUUID.h"
#include "HealthKit/HKObject.h"
#include "HealthKit/internal/PartsTable.h"

namespace platform::healthkit {

// Packed to 4 bytes: its 8-byte fields may sit unaligned, so they are read by value, never bound
// to a reference (a library call taking `const T&` gets a copy).
#pragma pack(push, 4)
struct StoredRow {
  static constexpr std::uint32_t kErased = std::numeric_limits<std::uint32_t>::max();

  NSUUID uuid{NSUUID::Bytes{}};
  double start = 0;          // seconds since the reference date; objects that are not samples
  double end = 0;            // have none and sort first
  std::uint64_t value = 0;   // a quantity's number or a category's value, bit for bit
  std::uint64_t anchor = 0;  // the save's, or the deletion's
  std::uint32_t parts = 0;   // into the PartsTable; kErased once the object is deleted

  bool erased() const { return parts == kErased; }

  // The row for `object`, saved by `owner` at `anchor`; its parts are numbered in `table`.
  // `whole` tells whether the object must be kept beside it.
  static StoredRow of(const HKObject& object, const std::string* owner, std::uint64_t anchor,
                      PartsTable& table, bool& whole);
  // The sample a row of numbers stands for (not for rows kept whole).
  std::shared_ptr<const HKObject> restore(const StoredParts& shared) const;
};
#pragma pack(pop)

static_assert(sizeof(StoredRow) == 52, "a row is kept small: millions are held");

}  // namespace platform::healthkit
