#pragma once

// HKQueryAnchor: where an anchored object query stopped in the store's history of saves and
// deletions. Hand the anchor of one query's results to the next query and it returns only what
// changed after that point.
//
// Opaque to applications, immutable and shared; safe to use from any thread. Anchors order by
// their position in the history: a later anchor compares greater. Applications keep anchors
// between launches in archived form:
//
//   std::string stored = anchor->archivedData();
//   auto restored = HKQueryAnchor::anchorWithArchivedData(stored);  // equal to anchor
//   HKQueryAnchor::anchorWithArchivedData("garbage");                 // nullptr

#include <compare>
#include <cstddef>
#include <memory>
#include <string>

#include "Foundation/NSObject.h"

// Pass as an anchor value to start from the beginning of the history.
inline constexpr unsigned long HKAnchoredObjectQueryNoAnchor = 0;
// Pass as a query limit to return every matching object.
inline constexpr unsigned long HKObjectQueryNoLimit = 0;

class HKQueryAnchor : public NSObject {
 public:
  // The anchor for a position value, as older applications stored anchors as plain numbers.
  static std::shared_ptr<const HKQueryAnchor> anchorFromValue(unsigned long value);

  // The anchor's archived form: a short string that anchorWithArchivedData reads back.
  std::string archivedData() const;
  // The anchor an archive holds, or nullptr when `data` is not an archived anchor.
  static std::shared_ptr<const HKQueryAnchor> anchorWithArchivedData(const std::string& data);

  bool isEqual(const NSObject& other) const override;
  std::size_t hash() const override { return std::hash<unsigned long>{}(value_); }
  std::optional<NSComparisonResult> compare(const NSObject& other) const override;
  std::string description() const override;
  std::string className() const override { return "HKQueryAnchor"; }

  auto operator<=>(const HKQueryAnchor& other) const { return value_ <=> other.value_; }
  bool operator==(const HKQueryAnchor& other) const { return value_ == other.value_; }

 private:
  friend struct HKQueryAnchorAccess;
  explicit HKQueryAnchor(unsigned long value) : value_(value) {}

  unsigned long value_;
};
