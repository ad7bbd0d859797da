#pragma once

// PackedObjects: HealthKit objects held in a few tens of bytes each until a loader saves them. A
// tool that replays recorded data (a Health export, hour by hour) reads millions of objects long
// before it saves them; held whole they would need several times the memory HealthKit itself
// keeps them in. A quantity or category sample is packed the way the simulated database keeps
// it: its numbers, plus the index of the parts it shares with others (type, unit, device and
// metadata; equal devices and equal metadata held once). Any other object (a correlation, a
// workout) is kept whole beside it. Unpacking gives an object equal in every value to the one
// packed, with the same UUID; a whole one is handed back once.
//
// Simulator-only. Not thread-safe: one loader packs and unpacks.
//
//   PackedObjects packed;
//   PackedObjects::Packed row = packed.pack(*sample);   // 52 bytes, a plain value
//   std::shared_ptr<const HKObject> again = packed.unpack(row);

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include "HealthKit/HKObject.h"
#include "HealthKit/internal/PartsTable.h"
#include "HealthKit/internal/SharedParts.h"
#include "HealthKit/internal/StoredRow.h"

namespace platform {

class PackedObjects {
 public:
  using Packed = healthkit::StoredRow;

  Packed pack(const HKObject& object);
  // The object again; a whole one leaves this holder.
  std::shared_ptr<const HKObject> unpack(const Packed& packed);
  // The packed sample's type identifier (only samples are packed by loaders).
  const std::string& typeIdentifier(const Packed& packed) const;

 private:
  healthkit::PartsTable table_;
  healthkit::SharedParts shared_;
  std::unordered_map<std::uint64_t, std::shared_ptr<const HKObject>> whole_;  // by row anchor
  std::uint64_t nextWhole_ = 0;
};

}  // namespace platform
